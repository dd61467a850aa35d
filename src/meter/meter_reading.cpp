#include "meter/meter_reading.h"

#include "meter/decoders.h"
#include "profile/meter_profile.h"

namespace mi {
namespace {

// The statistics of a category, started when it is decoded.
DecodeStats& Category(ReadingResult& result, RecordCategory category) {
  // cppcheck-suppress returnTempReference ; std::optional::emplace returns a reference
  return result.categories[Slot(category)].emplace();
}

// Keeps the failure of a step outside the categories; the reading goes on.
void Note(ReadingResult& result, bool done, std::string& err) {
  if (!done) result.errors.push_back(std::move(err));
  err.clear();
}

}  // namespace

std::string ReadingDriverName(const std::string& meter_family, bool use_ir_key) {
  return use_ir_key ? std::string(kIrKeyDriverName) : meter_family;
}

ReadingResult ReadMeter(MeterConnection& connection, const MeterProfile& profile,
                        const ReadingRequest& request) {
  ReadingResult result;
  std::string err;
  result.connect_text =
      connection.OpenMeterDriver(request.port, request.driver_name, request.progress_window, &err);
  Note(result, err.empty(), err);
  if (!result.Read()) {
    Note(result, connection.CloseMeterDriver(&err), err);
    return result;
  }
  if (request.connected) request.connected();

  Note(result, connection.ReadMeterInfo(result.info, &err), err);

  // The profile's event table serves both the mapping of the meter's own
  // codes and the table of negative codes.
  EventMaps events;
  events.user = profile.events;
  events.table.Fill(profile.events);

  DecodedRecords& records = result.records;
  if (profile.available[kCategoryGlucose]) {
    DecodeGlucose(connection, events, records.glucose, &Category(result, RecordCategory::kGlucose));
  }
  // The pump boluses join the insulin doses in one category.
  DecodeStats* insulin = nullptr;
  if (profile.available[kCategoryInsulin]) {
    insulin = &Category(result, RecordCategory::kInsulin);
    DecodeInsulin(connection, events, profile.defaultTypeInsulin, profile.descInsulin,
                  records.insulin, insulin);
  }
  if (profile.available[kCategoryPump]) {
    if (insulin == nullptr) insulin = &Category(result, RecordCategory::kInsulin);
    AppendPumpRecords(connection, profile.descInsulin, records.insulin, insulin);
  }
  if (profile.available[kCategoryIntakes]) {
    DecodeIntakes(connection, events, profile.buConversionFactor, profile.buFactor, records.intakes,
                  &Category(result, RecordCategory::kIntakes));
  }
  if (profile.available[kCategoryExercise]) {
    DecodeExercise(connection, events, records.exercise,
                   &Category(result, RecordCategory::kExercise));
  }
  if (profile.available[kCategoryLaboratory]) {
    DecodeStats& lab = Category(result, RecordCategory::kLab);
    for (const int16_t kind : request.laboratory_kinds) {
      DecodeLaboratory(connection, kind, profile.ketoneDefaults, records.lab, &lab);
    }
  }

  Note(result, connection.CloseMeterDriver(&err), err);
  return result;
}

}  // namespace mi

#include "meter/meter_reading.h"

#include "meter/decoders.h"
#include "meter/meter_errors.h"
#include "profile/meter_profile.h"

namespace mi {
namespace {

// Runs one step of the reading; a run-time error of the meter layer ends that
// step only, and is noted.
template <typename Step>
void Attempt(ReadingResult& result, Step&& step) {
  try {
    step();
  } catch (const MeterRunTimeError& error) {
    result.errors.emplace_back(error.what());
  }
}

// The statistics of a category, started when it is decoded.
DecodeStats& Category(ReadingResult& result, RecordCategory category) {
  // cppcheck-suppress returnTempReference ; std::optional::emplace returns a reference
  return result.categories[Slot(category)].emplace();
}

}  // namespace

std::string ReadingDriverName(const std::string& meter_family, bool use_ir_key) {
  return use_ir_key ? std::string(kIrKeyDriverName) : meter_family;
}

ReadingResult ReadMeter(MeterConnection& connection, const MeterProfile& profile,
                        const ReadingRequest& request) {
  ReadingResult result;
  std::string connect_text;
  Attempt(result, [&] {
    connect_text =
        connection.OpenMeterDriver(request.port, request.driver_name, request.progress_window);
  });
  if (connect_text == kDriverNotInstalled || connect_text.empty()) {
    Attempt(result, [&] { connection.CloseMeterDriver(); });
    result.outcome =
        connect_text.empty() ? ReadingOutcome::kNoConnection : ReadingOutcome::kNotInstalled;
    return result;
  }
  result.outcome = ReadingOutcome::kRead;
  if (request.connected) request.connected();

  Attempt(result, [&] { connection.ReadMeterInfo(result.info); });

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

  Attempt(result, [&] { connection.CloseMeterDriver(); });
  return result;
}

}  // namespace mi

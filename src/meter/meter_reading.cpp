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

// A decoder reports an error that ended it early through its text.
void NoteDecoderError(ReadingResult& result, std::string& error) {
  if (!error.empty()) result.errors.push_back(std::move(error));
  error.clear();
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

  Attempt(result, [&] { connection.ReadMeterInfo(result.info); });

  // The profile's event table serves both the mapping of the meter's own
  // codes and the table of negative codes.
  EventMaps events;
  events.user = profile.events;
  events.table.Fill(profile.events);

  DecodedRecords& records = result.records;
  std::string error;
  if (profile.available[kCategoryGlucose]) {
    DecodeGlucose(connection, events, records.glucose, &error);
    NoteDecoderError(result, error);
  }
  if (profile.available[kCategoryInsulin]) {
    DecodeInsulin(connection, events, profile.defaultTypeInsulin, profile.descInsulin,
                  records.insulin, &error);
    NoteDecoderError(result, error);
  }
  if (profile.available[kCategoryPump]) {
    AppendPumpRecords(connection, profile.descInsulin, records.insulin, &error);
    NoteDecoderError(result, error);
  }
  if (profile.available[kCategoryIntakes]) {
    DecodeIntakes(connection, events, profile.buConversionFactor, profile.buFactor, records.intakes,
                  &error);
    NoteDecoderError(result, error);
  }
  if (profile.available[kCategoryExercise]) {
    DecodeExercise(connection, events, records.exercise, &error);
    NoteDecoderError(result, error);
  }
  if (profile.available[kCategoryLaboratory]) {
    for (const int16_t kind : request.laboratory_kinds) {
      DecodeLaboratory(connection, kind, profile.ketoneDefaults, records.lab, &error);
      NoteDecoderError(result, error);
    }
  }

  Attempt(result, [&] { connection.CloseMeterDriver(); });
  return result;
}

}  // namespace mi

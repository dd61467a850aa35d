// The whole transfer of a full meter memory: decoding every category from the
// control's raw records and writing the import files, per category and as
// one file. A full memory is 1,680 entries, each with insulin in all four
// slots, carbohydrates and exercise, 200 laboratory entries over 8 kinds and
// 100 pump entries; scale 10 is ten times as many (which should take at most
// ten times as long).

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "importfiles/import_package.h"
#include "meter/meter_reading.h"
#include "profile/meter_profile.h"
#include "support/fake_meter_control.h"
#include "transfer/import_session.h"

namespace mi {
namespace {

std::string DateText(int day) {
  const DateParts p = SplitDate(*DateFromParts(2026, 1, 1) + day);
  char text[16];
  std::snprintf(text, sizeof text, "%04d%02d%02d", p.year, p.month, p.day);
  return text;
}

std::string TimeText(int minutes) {
  char text[16];
  std::snprintf(text, sizeof text, "%02d%02d00", minutes / 60 % 24, minutes % 60);
  return text;
}

void FillMemory(test::FakeMeterControl& control, int scale) {
  control.AddDriver("COMPLETE", "Accu-Chek Complete");
  control.SetModel("200");
  control.info[2] = "SN-4711";
  const int entries = 1680 * scale;
  auto& meter = control.records[1];
  for (int i = 0; i < entries; ++i) {
    test::RawEntry entry(DateText(i / 12), TimeText(360 + (i % 12) * 75));
    entry.Glucose(static_cast<float>(70 + i * 37 % 230))
        .Insulin(1, 2.0f + static_cast<float>(i % 9))
        .Insulin(2, 8.0f + static_cast<float>(i % 5))
        .Insulin(3, 0.5f * static_cast<float>(1 + i % 4))
        .Insulin(4, 12.0f)
        .Carbs(static_cast<int16_t>(12 + i % 60))
        .Unit(i % 3 == 0 ? 12 : 1)
        .Exercise(1, static_cast<int16_t>(15 + i % 75))
        .Event(1, static_cast<int16_t>(-(i % 6)));
    meter.push_back(entry);
  }
  const int16_t kinds[] = {2, 3, 5, 6, 9, 10, 16, 18};
  for (int i = 0; i < 200 * scale; ++i) {
    const int16_t kind = kinds[i % 8];
    test::RawEntry entry(DateText(i / 8), TimeText(540 + i % 60));
    entry.Glucose(kind == 2 ? static_cast<float>(1 + i % 5) : 5.0f + static_cast<float>(i % 150));
    control.records[kind].push_back(entry);
  }
  for (int i = 0; i < 100 * scale; ++i) {
    control.pump.push_back({DateText(i), TimeText(700), 14, 1.5f + static_cast<float>(i % 6)});
  }
}

MeterProfile FullProfile(bool single_file) {
  MeterProfile profile;
  profile.available.fill(kTrue);
  profile.createSingleFile = single_file ? kTrue : kFalse;
  profile.defaultTypeInsulin = {14, 11, 3, 10};
  for (int n = 1; n <= 14; ++n)
    profile.descInsulin[static_cast<size_t>(n)] = "Insulin " + std::to_string(n);
  profile.ketoneDefaults = {0, 0.5f, 1.5f, 4, 8, 0};
  profile.buConversionFactor = 2;
  profile.buFactor = 12;
  for (size_t n = 1; n < profile.events.size(); ++n)
    profile.events[n] = static_cast<int16_t>(n % 7);
  return profile;
}

void Transfer(benchmark::State& state) {
  const int scale = static_cast<int>(state.range(0));
  const MeterProfile profile = FullProfile(state.range(1) != 0);
  test::FakeMeterControl control;
  FillMemory(control, scale);
  std::string pattern = (std::filesystem::temp_directory_path() / "mi-bench-XXXXXX").string();
  if (!mkdtemp(pattern.data())) {
    state.SkipWithError("no temporary folder");
    return;
  }
  const std::filesystem::path folder = pattern;
  ReadingRequest request;
  request.port = 1;
  request.driver_name = "Accu-Chek Complete";
  request.laboratory_kinds = LaboratoryKinds("");
  const std::string import_dir = folder.string() + "/";
  const ImportHeader header = MakeImportHeader("Accu-Chek Sensor Complete", "SN-4711", 13);
  FixedWallClock clock(*DateFromParts(2026, 11, 23) + 0.5);
  ImportProgress progress;
  int64_t records = 0;
  int32_t sequence = 0;
  for ([[maybe_unused]] auto _ : state) {
    MeterConnection connection(control);
    const ReadingResult reading = ReadMeter(connection, profile, request);
    // New files every time.
    const ImportPackageResult package =
        WriteImportPackage(import_dir, ++sequence, profile.createSingleFile != 0, header,
                           reading.records, clock, progress, '.');
    if (!reading.Read() || !package.writers[0].save_failures.empty()) {
      state.SkipWithError("the transfer failed");
      break;
    }
    const DecodedRecords& r = reading.records;
    records = static_cast<int64_t>(r.glucose.size() + r.insulin.size() + r.intakes.size() +
                                   r.exercise.size() + r.lab.size());
    state.PauseTiming();
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
    state.ResumeTiming();
  }
  std::filesystem::remove_all(folder);
  state.SetItemsProcessed(state.iterations() * records);
}

// The decoding alone, to tell its share from the writing's.
void Decode(benchmark::State& state) {
  const MeterProfile profile = FullProfile(false);
  test::FakeMeterControl control;
  FillMemory(control, static_cast<int>(state.range(0)));
  ReadingRequest request;
  request.port = 1;
  request.driver_name = "Accu-Chek Complete";
  request.laboratory_kinds = LaboratoryKinds("");
  for ([[maybe_unused]] auto _ : state) {
    MeterConnection connection(control);
    benchmark::DoNotOptimize(ReadMeter(connection, profile, request));
  }
}

BENCHMARK(Decode)->ArgNames({"scale"})->Arg(1)->Arg(10)->Unit(benchmark::kMillisecond);

BENCHMARK(Transfer)
    ->ArgNames({"scale", "single_file"})
    ->Args({1, 0})
    ->Args({1, 1})
    ->Args({10, 0})
    ->Args({10, 1})
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace mi

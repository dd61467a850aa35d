// The writing of a full meter memory into import files, per category and as
// one file: 1,680 glucose readings, 6,720 insulin doses (all four slots),
// 1,680 intakes, 1,680 exercise entries and 200 laboratory values, and ten
// times as many (which should take at most ten times as long).

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "common/clock.h"
#include "importfiles/import_package.h"

namespace mi {
namespace {

DateValue Day(int offset) {
  return DateFromParts(2004, 1, 1).value_or(0) + offset;
}

DecodedRecords FullMemory(int scale) {
  const int glucose = 1680 * scale;
  DecodedRecords records;
  records.glucose.resize(static_cast<size_t>(glucose) + 1);
  records.insulin.resize(static_cast<size_t>(4 * glucose) + 1);
  records.intakes.resize(static_cast<size_t>(glucose) + 1);
  records.exercise.resize(static_cast<size_t>(glucose) + 1);
  records.lab.resize(static_cast<size_t>(200 * scale) + 1);
  for (int i = 0; i < glucose; ++i) {
    const DateValue date = Day(i / 12);
    const DateValue time = TimeFromParts(i % 24, (i * 7) % 60, 0);
    auto& g = records.glucose[static_cast<size_t>(i)];
    g.date = date, g.time = time, g.bg = static_cast<int16_t>(60 + i % 300);
    g.event = static_cast<int16_t>(i % 5), g.event_desc = i % 5 ? "vor dem Essen" : "";
    for (int slot = 0; slot < 4; ++slot) {
      auto& n = records.insulin[4 * static_cast<size_t>(i) + static_cast<size_t>(slot)];
      n.date = date, n.time = time, n.i1 = 0.5 * (i % 40), n.type = "Actrapid";
      n.rapid = slot == 0 ? -1 : 0;
    }
    auto& k = records.intakes[static_cast<size_t>(i)];
    k.date = date, k.time = time, k.bu = 0.5 * (i % 12);
    k.carbo = 6.0f * static_cast<float>(i % 12);
    auto& e = records.exercise[static_cast<size_t>(i)];
    e.date = date, e.time = time, e.minutes = static_cast<int16_t>(i % 90);
    e.desc = "Radfahren", e.desc_event = "Sport";
  }
  for (int i = 0; i < 200 * scale; ++i) {
    auto& l = records.lab[static_cast<size_t>(i)];
    l.date = Day(i), l.time = TimeFromParts(9, 0, 0);
    l.hbac = 6.5f + 0.01f * static_cast<float>(i % 50);
    l.chol = static_cast<int16_t>(180 + i % 40);
  }
  return records;
}

void WritePackage(benchmark::State& state) {
  const int scale = static_cast<int>(state.range(0));
  const bool single_file = state.range(1) != 0;
  const DecodedRecords records = FullMemory(scale);
  std::string pattern = (std::filesystem::temp_directory_path() / "mi-bench-XXXXXX").string();
  if (!mkdtemp(pattern.data())) {
    state.SkipWithError("no temporary folder");
    return;
  }
  const std::filesystem::path folder = pattern;
  const std::string import_dir = folder.string() + "/";
  ImportHeader header{"Accu-Chek Complete", "SN12345", 7, "APPEND"};
  FixedWallClock clock(Day(100));
  ImportProgress progress;
  int32_t sequence = 0;
  for ([[maybe_unused]] auto _ : state) {
    // A fresh sequence number each time: every run writes new files.
    const ImportPackageResult result = WriteImportPackage(import_dir, ++sequence, single_file,
                                                          header, records, clock, progress, '.');
    benchmark::DoNotOptimize(result);
    state.PauseTiming();
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
    state.ResumeTiming();
  }
  std::filesystem::remove_all(folder);
  state.SetItemsProcessed(state.iterations() *
                          static_cast<int64_t>(records.glucose.size() + records.insulin.size() +
                                               records.intakes.size() + records.exercise.size() +
                                               records.lab.size()));
}

BENCHMARK(WritePackage)
    ->ArgNames({"scale", "single_file"})
    ->Args({1, 0})
    ->Args({1, 1})
    ->Args({10, 0})
    ->Args({10, 1})
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace mi

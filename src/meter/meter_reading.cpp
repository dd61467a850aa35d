#include "meter/meter_reading.h"

#include <algorithm>

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

// What the reading tells while it runs: the category being read and the bar.
class Progress {
 public:
  Progress(const ReadingRequest& request, int categories, int sets)
      : request_(request), bar_(sets) {
    shown_.of = categories;
  }

  bool Cancelled() const { return request_.cancelled && request_.cancelled(); }

  // The next category's turn.
  void Category(RecordCategory category) {
    shown_.category = category;
    ++shown_.number;
    Tell();
  }
  // A record set read from the meter by `read` (which gives the entries it
  // read); a set that is already at hand (kind 1 after its first read) is no
  // read of the meter.
  template <typename Read>
  void Set(bool from_meter, bool meter_entries, Read read) {
    if (!from_meter) {
      read();
      return;
    }
    bar_.BeginSet(meter_entries);
    bar_.EndSet(read());
    Tell();
  }
  // The control's report on the read under way.
  void Report(int32_t done, int32_t total) {
    bar_.Report(done, total);
    Tell();
  }

 private:
  void Tell() {
    ReadingProgress now = shown_;
    now.permille = bar_.permille();
    if (now == told_ || !request_.progress) return;
    told_ = now;
    request_.progress(now);
  }

  const ReadingRequest& request_;
  ReadingBar bar_;
  ReadingProgress shown_;
  ReadingProgress told_;
};

}  // namespace

void ReadingBar::BeginSet(bool meter_entries) {
  if (sets_left_ > 0) --sets_left_;
  start_ = value_;
  share_ = -1;
  meter_entries_ = meter_entries;
}

void ReadingBar::Share(int32_t total) {
  if (share_ >= 0) return;
  const int32_t left = kEnd - start_;
  const double entries = total > 0 ? total : 0;
  if (meter_entries_) {
    meter_total_ += static_cast<int32_t>(entries);
  } else {
    others_total_ += static_cast<int64_t>(entries);
    ++others_;
  }
  double expected = 0;  // the entries of one set still to come
  if (others_ > 0) {
    expected = static_cast<double>(others_total_) / others_;
  } else {
    expected = meter_total_ / 32.0;
  }
  const double to_come = sets_left_ * std::max(expected, 1.0);
  share_ = sets_left_ == 0
               ? left
               : static_cast<int32_t>(static_cast<double>(left) * entries / (entries + to_come));
}

void ReadingBar::MoveTo(int32_t value) {
  value_ = std::clamp(value, value_, kEnd);
}

void ReadingBar::Report(int32_t done, int32_t total) {
  if (total <= 0) return;
  Share(total);
  const double part = std::clamp(static_cast<double>(done) / total, 0.0, 1.0);
  MoveTo(start_ + static_cast<int32_t>(share_ * part));
}

void ReadingBar::EndSet(int32_t entries) {
  Share(entries);
  MoveTo(start_ + share_);
}

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

  const auto on = [&profile](int category) { return profile.available[category] != 0; };
  const bool meter_entries =
      on(kCategoryGlucose) || on(kCategoryInsulin) || on(kCategoryIntakes) || on(kCategoryExercise);
  const bool insulin_on = on(kCategoryInsulin) || on(kCategoryPump);
  const bool lab_on = on(kCategoryLaboratory);
  const int categories =
      on(kCategoryGlucose) + insulin_on + on(kCategoryIntakes) + on(kCategoryExercise) + lab_on;
  const int sets = meter_entries + on(kCategoryPump) +
                   (lab_on ? static_cast<int>(request.laboratory_kinds.size()) : 0);
  Progress progress(request, categories, sets);
  connection.ReportProgressTo([&progress, &request](int32_t window, int32_t done, int32_t total) {
    if (window == request.progress_window) progress.Report(done, total);
  });

  // The profile's event table serves both the mapping of the meter's own
  // codes and the table of negative codes.
  EventMaps events;
  events.user = profile.events;
  events.table.Fill(profile.events);

  // Each step reads one record set (or none: kind 1 is at hand after its
  // first read), and the person may cancel before each.
  DecodedRecords& records = result.records;
  const auto meter_set = [&](DecodeStats& stats, const auto& decode) {
    progress.Set(!connection.Holds(kMeterEntryKind), true, [&] {
      const int32_t before = stats.raw_entries;
      decode();
      // cppcheck-suppress duplicateExpression ; decode() adds to raw_entries
      return stats.raw_entries - before;
    });
  };
  const auto step = [&](bool wanted, auto run) {
    if (!wanted || result.cancelled) return;
    if (progress.Cancelled()) {
      result.cancelled = true;
      return;
    }
    run();
  };

  step(true, [&] { Note(result, connection.ReadMeterInfo(result.info, &err), err); });
  step(on(kCategoryGlucose), [&] {
    DecodeStats& stats = Category(result, RecordCategory::kGlucose);
    progress.Category(RecordCategory::kGlucose);
    meter_set(stats, [&] { DecodeGlucose(connection, events, records.glucose, &stats); });
  });
  // The pump boluses join the insulin doses in one category.
  DecodeStats* insulin = nullptr;
  step(insulin_on, [&] {
    insulin = &Category(result, RecordCategory::kInsulin);
    progress.Category(RecordCategory::kInsulin);
  });
  step(on(kCategoryInsulin), [&] {
    meter_set(*insulin, [&] {
      DecodeInsulin(connection, events, profile.defaultTypeInsulin, profile.descInsulin,
                    records.insulin, insulin);
    });
  });
  step(on(kCategoryPump), [&] {
    progress.Set(true, false, [&] {
      const int32_t before = insulin->raw_entries;
      AppendPumpRecords(connection, profile.descInsulin, records.insulin, insulin);
      return insulin->raw_entries - before;
    });
  });
  step(on(kCategoryIntakes), [&] {
    DecodeStats& stats = Category(result, RecordCategory::kIntakes);
    progress.Category(RecordCategory::kIntakes);
    meter_set(stats, [&] {
      DecodeIntakes(connection, events, profile.buConversionFactor, profile.buFactor,
                    records.intakes, &stats);
    });
  });
  step(on(kCategoryExercise), [&] {
    DecodeStats& stats = Category(result, RecordCategory::kExercise);
    progress.Category(RecordCategory::kExercise);
    meter_set(stats, [&] { DecodeExercise(connection, events, records.exercise, &stats); });
  });
  DecodeStats* lab = nullptr;
  step(lab_on, [&] {
    lab = &Category(result, RecordCategory::kLab);
    progress.Category(RecordCategory::kLab);
  });
  for (const int16_t kind : request.laboratory_kinds) {
    step(lab_on, [&] {
      progress.Set(true, false, [&] {
        const int32_t before = lab->raw_entries;
        DecodeLaboratory(connection, kind, profile.ketoneDefaults, records.lab, lab);
        return lab->raw_entries - before;
      });
    });
  }

  connection.ReportProgressTo(nullptr);
  Note(result, connection.CloseMeterDriver(&err), err);
  return result;
}

}  // namespace mi

#pragma once

// The decoded records that the import files are written from. Each begins with
// an id that is always 0; dates and times are date values (zero date: the
// record is empty and is not written). Flags are 16-bit: -1 true, 0 false.

#include <cstdint>
#include <string>
#include <vector>

#include "common/conversions.h"

namespace mi {

struct GlucoseRecord {
  int32_t id = 0;
  DateValue date = 0;
  DateValue time = 0;
  int16_t bg = 0;
  int16_t event = 0;
  std::string event_desc;
  std::string comment;
  int16_t control = 0;     // -1: control-solution test
  int16_t meter_type = 0;  // selects the BG field's prefix in the file
  int16_t skip = 0;
};

struct InsulinRecord {
  int32_t id = 0;
  DateValue date = 0;
  DateValue time = 0;
  double i1 = 0;
  double i2 = 0;
  std::string type;       // the insulin's name from the user's description list
  int16_t type_code = 0;  // insulin type code 0..15
  int16_t event = 0;
  std::string event_desc;
  std::string comment;
  int16_t rapid = 0;
  int16_t meter_type = 0;
  int16_t skip = 0;
};

struct IntakeRecord {
  int32_t id = 0;
  DateValue date = 0;
  DateValue time = 0;
  double bu = 0;
  std::string desc;
  int16_t event = 0;
  std::string event_desc;
  std::string comment;
  int16_t meter_type = 0;
  int16_t skip = 0;
  float carbo = 0;
  // Columns of the intakes file that the decoder never fills.
  double fat = 0;
  double protein = 0;
  double water = 0;
  double chol = 0;
  double fibres = 0;
  double kcal = 0;
};

struct ExerciseRecord {
  int32_t id = 0;
  DateValue date = 0;
  DateValue time = 0;
  int16_t minutes = 0;  // MMM
  std::string desc;
  int16_t event = 0;
  std::string desc_event;
  int16_t meter_type = 0;
  int16_t skip = 0;
};

// One laboratory value; every other value field holds the missing mark
// (-1 for whole numbers, -1.0 for singles).
struct LabRecord {
  int32_t id = 0;
  DateValue date = 0;
  DateValue time = 0;
  int16_t chol = -1;  // kind 6
  float tri = -1;     // kind 5
  int16_t hdl = -1;   // kind 16
  int16_t ldl = -1;   // kind 10
  float hba = -1;     // never filled
  float hbac = -1;    // kind 3
  float ket = -1;     // kind 2, through the ketone defaults
  int16_t gluc_pp = -1;
  int16_t gluc_nue = -1;
  float inr = -1;
  float quick = -1;
  int16_t albu = -1;  // kind 18
  int16_t meter_type = 0;
  int16_t creat = -1;  // kind 9
  std::string comment;
  int16_t skip = 0;
};

// The five categories of records, in the order they are decoded, written and
// shown.
enum class RecordCategory : size_t { kGlucose = 0, kInsulin, kIntakes, kExercise, kLab };
inline constexpr size_t kRecordCategoryCount = 5;
inline constexpr RecordCategory kRecordCategories[kRecordCategoryCount] = {
    RecordCategory::kGlucose, RecordCategory::kInsulin, RecordCategory::kIntakes,
    RecordCategory::kExercise, RecordCategory::kLab};
constexpr size_t Slot(RecordCategory category) {
  return static_cast<size_t>(category);
}

// A category's result: the records in meter order and the count that the
// decoder returned. The array is sized one beyond the count (the last element
// stays empty); an array that was never sized is empty.
template <typename Record>
using RecordArray = std::vector<Record>;

struct DecodedRecords {
  RecordArray<GlucoseRecord> glucose;
  RecordArray<InsulinRecord> insulin;
  RecordArray<IntakeRecord> intakes;
  RecordArray<ExerciseRecord> exercise;
  RecordArray<LabRecord> lab;
};

}  // namespace mi

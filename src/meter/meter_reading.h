#pragma once

// The reading itself, without windows: open the driver on the chosen port,
// read the identification, decode every category the profile enables into
// records, close the driver. The wizard's transfer step and meterimport-batch
// both run it and then hand the records to the import package writer; the
// two ways it can end without reading ("NOT INSTALLED", no connection) come
// back to the caller in the connect text, which it shows as it must.

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "meter/decoders.h"
#include "meter/meter_connection.h"
#include "records/raw_records.h"
#include "records/records.h"

namespace mi {

struct MeterProfile;

struct ReadingRequest {
  int16_t port = 0;                       // the port to connect on (1 to 4 connect)
  std::string driver_name;                // the meter's family, or the infrared key's driver
  int32_t progress_window = 0;            // handed to the control's reads
  std::vector<int16_t> laboratory_kinds;  // read in this order
  // Called once the connection is made, before anything is read (a window
  // shows its transfer page then).
  std::function<void()> connected;
};

struct ReadingResult {
  // What opening the driver gave: the connect text of the connection the
  // meter was read on; kDriverNotInstalled when the control does not list the
  // driver; empty when no connection to the meter was made.
  std::string connect_text;
  // Connected and read (with or without records).
  bool Read() const { return !connect_text.empty() && connect_text != kDriverNotInstalled; }

  MeterInfo info;
  DecodedRecords records;
  // What decoding did in each category that the profile enables (by
  // RecordCategory; the insulin doses and the pump boluses together, every
  // laboratory kind together); nullopt for a category that is switched off.
  std::array<std::optional<DecodeStats>, kRecordCategoryCount> categories;
  // Run-time errors outside the categories (opening, the identification,
  // closing), each one line (common/error.h); the reading went on after each.
  std::vector<std::string> errors;
};

// The driver display name of a reading: the infrared key's when the user
// chose it, otherwise the meter's family.
std::string ReadingDriverName(const std::string& meter_family, bool use_ir_key);

ReadingResult ReadMeter(MeterConnection& connection, const MeterProfile& profile,
                        const ReadingRequest& request);

}  // namespace mi

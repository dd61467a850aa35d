#pragma once

// The whole transfer of one import, as the wizard's last step and
// meterimport-batch run it: the reading of the meter, then, when it was read,
// the import package written into the host's import folder.

#include <cstdint>
#include <optional>
#include <string>

#include "common/clock.h"
#include "importfiles/import_package.h"
#include "meter/meter_reading.h"

namespace mi {

struct TransferRequest {
  ReadingRequest reading;
  std::string import_dir;       // ends in "/"
  int32_t import_sequence = 0;  // the files' extension
  std::string meter_desc;       // "Import from"
  int16_t meter_id = 0;         // "Import Type"
};

struct TransferResult {
  ReadingResult reading;
  // Written only when the meter was read.
  std::optional<ImportPackageResult> package;
};

// The values that head every section of the import: the meter's
// description, its identification item 3, its number, and "APPEND".
ImportHeader MakeImportHeader(const std::string& meter_desc,
                              const std::string& meter_identification, int16_t meter_id);

TransferResult RunTransfer(MeterConnection& connection, const MeterProfile& profile,
                           const TransferRequest& request, const WallClock& clock,
                           ImportProgress& progress, char decimal_separator);

}  // namespace mi

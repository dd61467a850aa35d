#include "transfer/transfer.h"

#include "profile/meter_profile.h"

namespace mi {

ImportHeader MakeImportHeader(const std::string& meter_desc,
                              const std::string& meter_identification, int16_t meter_id) {
  ImportHeader header;
  header.ImportFrom = meter_desc;
  header.ImportId = meter_identification;
  header.ImportType = meter_id;
  header.ImportAction = "APPEND";
  return header;
}

TransferResult RunTransfer(MeterConnection& connection, const MeterProfile& profile,
                           const TransferRequest& request, const WallClock& clock,
                           ImportProgress& progress, char decimal_separator) {
  TransferResult result;
  result.reading = ReadMeter(connection, profile, request.reading);
  if (result.reading.outcome != ReadingOutcome::kRead) return result;
  const ImportHeader header =
      MakeImportHeader(request.meter_desc, result.reading.info.item3, request.meter_id);
  result.package =
      WriteImportPackage(request.import_dir, request.import_sequence, profile.createSingleFile != 0,
                         header, result.reading.records, clock, progress, decimal_separator);
  return result;
}

}  // namespace mi

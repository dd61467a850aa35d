#pragma once

// meterimport-batch: one whole import without windows, for scripts and hosts
// that want no wizard. It runs the module's import sequence in one go and
// prints what the module would show: status lines and the texts of message
// boxes on the error stream, what the import did and every loss there too,
// and one line per category with its count on the output.

#include <iosfwd>
#include <string>
#include <vector>

#include "transfer/import_session.h"

namespace mi {

// Exit statuses.
enum BatchStatus {
  kBatchDone = 0,         // the transfer ran (with or without records) and nothing was lost
  kBatchUsage = 1,        // the command line asked for help or is unusable
  kBatchNoMeterId = 2,    // no MeterID
  kBatchNoImportDir = 3,  // no import folder
  kBatchPortUnavailable = 4,
  kBatchNotInstalled = 5,  // the meter driver is not installed
  kBatchNoConnection = 6,  // no connection to the meter
  kBatchLoss = 7,          // the transfer ran but something was lost on the way
};

// `arguments` are PRODUCTKEY SEQUENCE PORT METERID (argv without the program).
int RunBatch(const std::vector<std::string>& arguments, const ImportEnvironment& environment,
             std::ostream& out, std::ostream& err);

}  // namespace mi

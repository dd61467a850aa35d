#pragma once

// meterimport-batch: one whole import without windows, for scripts and hosts
// that want no wizard. It does what the module does: the start-up from the
// command line, the meter profile, the port test on the remembered port, the
// reading and the writing of the import package, and it stores the port at
// the end. Status lines and the texts the module would show in message boxes
// go to the error stream; one line per category with its count to the output.

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

#include "common/clock.h"
#include "common/settings_store.h"
#include "serial/port_probe.h"

namespace mi {

// Exit statuses.
enum BatchStatus {
  kBatchDone = 0,         // the transfer ran (with or without records)
  kBatchUsage = 1,        // the command line asked for help or is unusable
  kBatchNoMeterId = 2,    // no MeterID
  kBatchNoImportDir = 3,  // no import folder
  kBatchPortUnavailable = 4,
  kBatchNotInstalled = 5,  // the meter driver is not installed
  kBatchNoConnection = 6,  // no connection to the meter
};

struct BatchEnvironment {
  std::filesystem::path program_file;  // where languages/ and the help file are looked for
  HivePaths hives = HivePaths::FromEnvironment();
  const WallClock* clock = nullptr;  // the system clock when null
  SerialSystem serial;
  char decimal_separator = '.';
};

// `arguments` are PRODUCTKEY SEQUENCE PORT METERID (argv without the program).
int RunBatch(const std::vector<std::string>& arguments, const BatchEnvironment& environment,
             std::ostream& out, std::ostream& err);

}  // namespace mi

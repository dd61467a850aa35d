// meterimport-batch PRODUCTKEY SEQUENCE PORT METERID: one import without windows.

#include <iostream>
#include <string>
#include <vector>

#include "app/meterimport-batch/batch.h"
#include "common/locale_info.h"

int main(int argc, char** argv) {
  std::vector<std::string> arguments(argv + 1, argv + argc);
  mi::ImportEnvironment environment;
  std::error_code ec;
  environment.program_file = std::filesystem::read_symlink("/proc/self/exe", ec);
  if (ec) environment.program_file = argv[0];
  environment.decimal_separator = mi::UserDecimalSeparator();
  return mi::RunBatch(arguments, environment, std::cout, std::cerr);
}

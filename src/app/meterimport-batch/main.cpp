// meterimport-batch PRODUCTKEY SEQUENCE PORT METERID: one import without windows.

#include <iostream>
#include <string>
#include <vector>

#include "app/meterimport-batch/batch.h"

int main(int argc, char** argv) {
  std::vector<std::string> arguments(argv + 1, argv + argc);
  return mi::RunBatch(arguments, mi::ImportEnvironment::OfThisProgram(argv[0]), std::cout,
                      std::cerr);
}

// meterimport-settings: reads and changes the module's settings hives.

#include <iostream>

#include "app/meterimport-settings/settings_tool.h"

int main(int argc, char** argv) {
  const mi::ToolArgs args(argv + 1, argv + argc);
  return mi::RunSettingsTool(args, mi::HivePaths::FromEnvironment(), std::cout, std::cerr);
}

#pragma once

// What the messages need that tell a person why the settings or a serial
// port cannot be used, and what to do about it: their English words for a
// run without a language module, and the command that repairs a hive.

#include <cstdint>
#include <filesystem>
#include <string>

#include "common/hive.h"
#include "common/language.h"
#include "common/settings_store.h"

namespace mi {

// The module's own English for those texts, as a catalogue. A hive that
// cannot be read often takes the language setting with it, and then no
// catalogue is known; the person must still learn what is wrong.
const LanguageModule& BuiltInEnglish();

// The text that says what to do about a hive with this problem.
int16_t HiveAdviceText(HiveProblem::Kind kind);

// The command that undoes a change that a crash cut off in the hive `file`
// of `root`: any command of meterimport-settings opens the hive for writing,
// and SQLite then rolls the change back. "sudo" comes first when this user
// may not write the file or its folder; the file is named through its
// variable where the tool would not find it by itself; the tool is named by
// its path when it lies beside `program_file` in a folder that $PATH does
// not list. Every word is quoted for the shell where it needs it.
std::string HiveRepairCommand(Root root, const std::filesystem::path& file,
                              const std::filesystem::path& program_file);

}  // namespace mi

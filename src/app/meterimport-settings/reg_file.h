#pragma once

// Registry export files (.reg): reading them into a list of changes to the
// two settings roots, and writing keys with their values in the format that
// the registry editor of version 5.00 uses (UTF-16LE with byte-order mark,
// CR LF line ends).

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/hive.h"
#include "common/settings_store.h"

namespace mi {

// A KEY as the user or a file names it: its root and the path below it.
struct RootedKey {
  Root root = Root::kUser;
  std::string path;  // "" for the root itself
};

// Accepts HKLM, HKEY_LOCAL_MACHINE, HKCU and HKEY_CURRENT_USER (without
// regard to case), alone or followed by "\" and the key path. nullopt for any
// other root.
std::optional<RootedKey> ParseRootedKey(std::string_view text);
// "HKEY_LOCAL_MACHINE" or "HKEY_CURRENT_USER".
std::string_view RootName(Root root);

enum class RegFileFormat { kVersion5, kRegedit4 };

// One step of an import, in the order of the file.
struct RegChange {
  enum class Kind { kCreateKey, kDeleteKey, kSetValue, kDeleteValue };
  Kind kind = Kind::kCreateKey;
  Root root = Root::kUser;
  std::string key_path;
  std::string name;  // "" = the default value
  uint32_t type = kRegNone;
  std::string data;  // as the hive keeps it (texts in UTF-8)
  int line = 0;      // where it starts in the file
};

struct RegFile {
  RegFileFormat format = RegFileFormat::kVersion5;
  std::vector<RegChange> changes;
};

struct RegFileError {
  int line = 0;
  std::string message;
};

// Reads a whole file (its raw bytes). nullopt, with `error` filled, for the
// first thing that is wrong; nothing is applied anywhere.
std::optional<RegFile> ParseRegFile(std::string_view bytes, RegFileError* error);

// One key to write, with its full name (root first) and its values.
struct RegKeyDump {
  std::string name;
  std::vector<RegValue> values;
};

// Writes a file key by key, in the order given, handing its bytes to a sink
// in pieces of about a megabyte, so that a large export is never held whole.
class RegFileWriter {
 public:
  // Takes the next piece of the file; false stops the writing.
  using Sink = std::function<bool(std::string_view bytes)>;

  explicit RegFileWriter(Sink sink);
  // `name` is the key's full name, root first. False, with `error` filled,
  // when the key's name holds a line break or a NUL or a value is unfit
  // (WhyUnfitForRegFile; nothing of the key is written then), or when the
  // sink fails.
  bool AddKey(std::string_view name, const std::vector<RegValue>& values, std::string* error);
  // Writes the end of the file and what is left over. False when the sink fails.
  bool Finish();

 private:
  bool Flush(size_t at_least);

  Sink sink_;
  std::string buffer_;  // UTF-16LE, not handed over yet
  std::string lines_;   // one key's value lines, UTF-8
};

// True when a key or value name holds a line break or a NUL, which a .reg
// file cannot carry.
bool UnfitForRegFile(std::string_view name);

// Why a value cannot be written so that importing the file gives it back:
// its name holds a line break or a NUL, or it is an expandable or multi-text
// whose data are not UTF-8 (the file carries them as UTF-16, which has no
// form for stray bytes). Empty when it can.
std::string WhyUnfitForRegFile(const RegValue& value);

// The file's bytes for these keys, in this order. nullopt, with `error`
// filled, when a key cannot be written (see RegFileWriter::AddKey).
std::optional<std::string> FormatRegFile(const std::vector<RegKeyDump>& keys, std::string* error);

// The line (or lines, continued with "\") of one value, without line end.
std::string FormatRegValue(const RegValue& value);

}  // namespace mi

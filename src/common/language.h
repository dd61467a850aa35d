#pragma once

// The language module: numbered texts from a catalogue file, fetched with
// `loadres`. A catalogue is UTF-8 text with lines "NUMBER=TEXT"; blank lines
// and lines starting with ";" or "#" are ignored; "\n", "\t" and "\\" in TEXT
// are a line break, a tab and a backslash; "%1" is where the argument goes.
// A later line for the same number replaces an earlier one. A UTF-8 byte-order
// mark at the start and CR LF line ends are allowed.
//
// Lines that are not right never stop the reading:
// - no "=", or a number before "=" that is not 0..32767 written in decimal
//   digits (blanks around it allowed): the line is passed over;
// - an unknown escape such as "\q", or a "\" at the end of the line: kept as
//   written, the rest of the line is used;
// - text that is not valid UTF-8: kept as it is.
// Each of these is noted in `problems` as "FILE:LINE: what". The text after
// "=" is taken exactly, blanks included.

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mi {

class LanguageModule {
 public:
  // Reads a catalogue. Lines that do not parse are passed over (and noted in
  // `problems`, "FILE:LINE: ..."); nullopt when the file cannot be read.
  static std::optional<LanguageModule> Load(const std::filesystem::path& file,
                                            std::vector<std::string>* problems = nullptr);
  // The same from text already in memory; `origin` names it in problems.
  static LanguageModule Parse(std::string_view text, std::string_view origin = "catalogue",
                              std::vector<std::string>* problems = nullptr);

  // Text `id`, with `argument` in place of "%1" when given (without an
  // argument "%1" is left out). nullopt: the catalogue has no such text.
  std::optional<std::string> loadres(int32_t id,
                                     std::optional<std::string_view> argument = std::nullopt) const;

  const std::map<int32_t, std::string>& texts() const { return texts_; }

 private:
  std::map<int32_t, std::string> texts_;
};

// Where the catalogue "NAME.lng" of the language module NAME is looked for:
// each folder of $METERIMPORT_LANGUAGE_PATH (":"-separated), then languages/
// beside the program, then ../share/meterimport/languages/ from the program.
std::vector<std::filesystem::path> LanguageSearchFolders(const std::filesystem::path& program_dir);

// Creates the language module from the value "LanguageDLL" (already cleaned):
// the object NAME + ".LanguageDLL" is the catalogue NAME.lng in the first
// search folder that holds a readable one ("NAME.lng" as written, else a file
// whose name matches without regard to case). nullptr when the name is empty
// or would leave the folder ("/", ".", ".."), or no catalogue is found or
// readable. Lines that do not parse are noted in `problems`.
std::unique_ptr<LanguageModule> CreateLanguageModule(std::string_view language_dll,
                                                     const std::filesystem::path& program_dir,
                                                     std::vector<std::string>* problems = nullptr);

}  // namespace mi

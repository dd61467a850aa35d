#include "common/language.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>

#include "common/files.h"
#include "common/text_encoding.h"
#include "common/text_helpers.h"

namespace mi {
namespace {

// Text numbers are 16-bit and never negative.
constexpr int32_t kHighestTextId = 32767;

// The number before "=": decimal digits only (blanks around them allowed),
// within 0..32767.
std::optional<int32_t> ParseTextId(std::string_view text) {
  text = TrimBlanks(text);
  if (text.empty()) return std::nullopt;
  int32_t value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
    value = value * 10 + (c - '0');
    if (value > kHighestTextId) return std::nullopt;
  }
  return value;
}

// Works the escapes "\n", "\t" and "\\" out of a catalogue text. Any other
// backslash (an unknown escape, or one at the end of the line) stays as it is
// written, so that a slip in the catalogue shows on screen instead of eating
// characters; `unknown` receives the first such sequence.
std::string Unescape(std::string_view text, std::string* unknown) {
  std::string result;
  result.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c != '\\') {
      result += c;
      continue;
    }
    if (i + 1 == text.size()) {
      result += c;
      if (unknown->empty()) *unknown = "\\ at the end of the line";
      continue;
    }
    const char next = text[i + 1];
    switch (next) {
      case 'n':
        result += '\n';
        ++i;
        break;
      case 't':
        result += '\t';
        ++i;
        break;
      case '\\':
        result += '\\';
        ++i;
        break;
      default:
        // Keep the backslash; the next character is copied on the next pass.
        result += c;
        if (unknown->empty()) *unknown = std::string("unknown escape \\") + next;
        break;
    }
  }
  return result;
}

void Note(std::vector<std::string>* problems, std::string_view origin, size_t line,
          std::string_view what) {
  if (problems == nullptr) return;
  problems->push_back(std::string(origin) + ":" + std::to_string(line) + ": " + std::string(what));
}

// A name that would leave the search folder is no catalogue name.
bool IsPlainName(std::string_view name) {
  if (name.empty() || name == "." || name == "..") return false;
  return name.find('/') == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

// The catalogue file in `folder`: "NAME.lng" as written, or else the one
// entry whose name matches without regard to case (the object names that the
// host stores were never case-sensitive).
std::optional<std::filesystem::path> FindCatalogue(const std::filesystem::path& folder,
                                                   const std::string& file_name) {
  std::error_code error;
  const std::filesystem::path exact = folder / file_name;
  if (std::filesystem::is_regular_file(exact, error)) return exact;
  std::filesystem::directory_iterator it(folder, error);
  if (error) return std::nullopt;
  for (const auto& entry : it) {
    if (EqualsNoCase(entry.path().filename().string(), file_name) && entry.is_regular_file(error)) {
      return entry.path();
    }
  }
  return std::nullopt;
}

}  // namespace

LanguageModule LanguageModule::Parse(std::string_view text, std::string_view origin,
                                     std::vector<std::string>* problems) {
  LanguageModule module;
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
    text.remove_prefix(kByteOrderMark.size());
  }
  size_t line_number = 0;
  while (!text.empty()) {
    ++line_number;
    const size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);

    const std::string_view trimmed = TrimBlanks(line);
    if (trimmed.empty() || trimmed.front() == ';' || trimmed.front() == '#') continue;

    const size_t equals = line.find('=');
    if (equals == std::string_view::npos) {
      Note(problems, origin, line_number, "no '=' (line passed over)");
      continue;
    }
    const std::optional<int32_t> id = ParseTextId(line.substr(0, equals));
    if (!id) {
      Note(problems, origin, line_number,
           "'" + std::string(TrimBlanks(line.substr(0, equals))) +
               "' is not a text number from 0 to 32767 (line passed over)");
      continue;
    }
    // The text is taken exactly as written after "=": blanks at either end
    // can matter (a prefix such as "Insulin " is followed by a number).
    const std::string_view raw = line.substr(equals + 1);
    if (!IsValidUtf8(raw)) {
      Note(problems, origin, line_number, "text is not valid UTF-8 (kept as it is)");
    }
    std::string unknown;
    std::string value = Unescape(raw, &unknown);
    // cppcheck-suppress knownConditionTrueFalse ; Unescape fills `unknown`
    if (!unknown.empty()) {
      Note(problems, origin, line_number, unknown + " (kept as written)");
    }
    module.texts_[*id] = std::move(value);
  }
  return module;
}

std::optional<LanguageModule> LanguageModule::Load(const std::filesystem::path& file,
                                                   std::vector<std::string>* problems) {
  const std::optional<std::string> content = ReadWholeFile(file);
  if (!content) return std::nullopt;
  return Parse(*content, file.string(), problems);
}

std::optional<std::string> LanguageModule::loadres(int32_t id,
                                                   std::optional<std::string_view> argument) const {
  const auto found = texts_.find(id);
  if (found == texts_.end()) return std::nullopt;
  const std::string& text = found->second;
  const std::string_view insert = argument.value_or(std::string_view());
  // One pass from left to right, so that a "%1" inside the argument stays.
  std::string result;
  result.reserve(text.size() + insert.size());
  for (size_t i = 0; i < text.size();) {
    if (text.compare(i, 2, "%1") == 0) {
      result += insert;
      i += 2;
    } else {
      result += text[i];
      ++i;
    }
  }
  return result;
}

std::vector<std::filesystem::path> LanguageSearchFolders(const std::filesystem::path& program_dir) {
  std::vector<std::filesystem::path> folders;
  if (const char* path = std::getenv("METERIMPORT_LANGUAGE_PATH"); path != nullptr) {
    std::string_view rest(path);
    while (true) {
      const size_t colon = rest.find(':');
      const std::string_view folder = rest.substr(0, colon);
      // An empty entry ("a::b", a leading or trailing ":") names no folder.
      if (!folder.empty()) folders.emplace_back(folder);
      if (colon == std::string_view::npos) break;
      rest.remove_prefix(colon + 1);
    }
  }
  folders.push_back(program_dir / "languages");
  folders.push_back(
      (program_dir / ".." / "share" / "meterimport" / "languages").lexically_normal());
  return folders;
}

std::unique_ptr<LanguageModule> CreateLanguageModule(std::string_view language_dll,
                                                     const std::filesystem::path& program_dir,
                                                     std::vector<std::string>* problems) {
  if (!IsPlainName(language_dll)) return nullptr;
  const std::string file_name = std::string(language_dll) + ".lng";
  for (const auto& folder : LanguageSearchFolders(program_dir)) {
    const std::optional<std::filesystem::path> file = FindCatalogue(folder, file_name);
    if (!file) continue;
    // A catalogue that cannot be read does not stop the search: a later
    // folder may hold a readable one.
    std::optional<LanguageModule> module = LanguageModule::Load(*file, problems);
    if (module) return std::make_unique<LanguageModule>(std::move(*module));
  }
  return nullptr;
}

}  // namespace mi

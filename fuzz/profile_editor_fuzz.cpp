// The line editor on arbitrary import files and arbitrary edits. The input
// is the file's content, then (after two NUL bytes) one edit per line: an
// operation letter and "section|key|value". The editor must load and rewrite
// anything without crashing, and a refused write must change nothing.

#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "common/settings_store.h"
#include "common/text_encoding.h"
#include "importfiles/profile_editor.h"

namespace {

// A folder of its own for one input, removed afterwards (libFuzzer may end
// the process without running exit handlers).
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "mi-fuzz-XXXXXX").string();
    if (!mkdtemp(pattern.data())) abort();
    folder_ = pattern;
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  std::string File() const { return folder_ + "/import.00017"; }

 private:
  std::string folder_;
};

std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (;;) {
    const size_t at = text.find(separator);
    parts.push_back(text.substr(0, at));
    if (at == std::string_view::npos) return parts;
    text.remove_prefix(at + 1);
  }
}

void Fail(int line) {
  std::fprintf(stderr, "profile_editor_fuzz.cpp:%d: check failed\n", line);
  abort();
}

// The saved file as the plain rule makes it: each line trimmed and followed
// by CR LF, an empty line only before a line holding "[" or at the end.
std::string PlainSave(const std::vector<std::string>& lines) {
  std::string text;
  for (size_t i = 0; i < lines.size(); ++i) {
    if (lines[i].empty() && i + 1 < lines.size() && lines[i + 1].find('[') == std::string::npos) {
      continue;
    }
    text += mi::TrimControlChars(lines[i]) + "\r\n";
  }
  return mi::Utf8ToWindows1252(text);
}

std::string ReadBack(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// What a fresh editor, with nothing remembered, loads from the file.
std::vector<std::string> FreshLoad(const std::string& path) {
  mi::ProfileEditor fresh;
  fresh.LoadProfileFile(path);
  return fresh.Lines();
}

#define CHECK(condition) \
  if (!(condition)) Fail(__LINE__)

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const size_t end_of_file = input.find(std::string_view("\0\0", 2));
  const std::string_view content = input.substr(0, end_of_file);
  const std::string_view edits =
      end_of_file == std::string_view::npos ? std::string_view() : input.substr(end_of_file + 2);

  const ScratchFolder scratch;
  const std::string path = scratch.File();
  {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
  }

  mi::ProfileEditor editor;
  editor.LoadProfileFile(path);
  int operations = 0;
  for (std::string_view line : Split(edits, '\n')) {
    if (line.empty() || ++operations > 64) continue;
    const char operation = line.front();
    const std::vector<std::string_view> fields = Split(line.substr(1), '|');
    const std::string_view section = fields[0];
    const std::string_view key = fields.size() > 1 ? fields[1] : std::string_view();
    // "\\n" in a value stands for a line break (the edits themselves are
    // split at line breaks).
    std::string value_text(fields.size() > 2 ? fields[2] : std::string_view());
    for (size_t at = value_text.find("\\n"); at != std::string::npos; at = value_text.find("\\n")) {
      value_text.replace(at, 2, "\n");
    }
    const std::string_view value = value_text;
    switch (operation) {
      case 'w':
      case 'W': {
        const std::vector<std::string> before = editor.Lines();
        const bool same_file = editor.BufferedFile() == path;
        const int16_t result =
            editor.WriteProfileEntry(section, key, value, path, operation == 'w' ? -1 : 0);
        // Only the line editor refuses; the platform's storage takes anything.
        std::string one_line_section(section);
        for (char& c : one_line_section) {
          if (c == '\r' || c == '\n' || c == '\0') c = ' ';
        }
        const bool refused = editor.UseProfileApi == 0 &&
                             !mi::ProfileEditor::IsValidProfileName(one_line_section) &&
                             mi::ProfileEditor::IsValidProfileName(key);
        CHECK(result == (refused ? -1 : 0));
        if (refused && same_file) CHECK(editor.Lines() == before);
        // A written value never brings a line break, a NUL or a line of its
        // own: no more lines hold one than before.
        if (operation == 'w' && !refused && same_file && editor.UseProfileApi == 0) {
          const auto broken = [](const std::vector<std::string>& lines) {
            size_t count = 0;
            for (const std::string& l : lines) {
              count += l.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos;
            }
            return count;
          };
          CHECK(broken(editor.Lines()) <= broken(before));
          CHECK(editor.Lines().size() <= before.size() + 4);
        }
        break;
      }
      case 'c':
        editor.ClearProfileSection(section, path);
        break;
      case 'f': {
        int32_t position = static_cast<int32_t>(key.size()) - 1;
        const int32_t count = editor.LineCount();
        const bool found = editor.FindProfileLine(position, section, !value.empty());
        CHECK(editor.LineCount() == count || editor.LineCount() == count + 1);
        if (found) CHECK(position >= 1 && position <= editor.LineCount());
        break;
      }
      case 'i':
        editor.InsertProfileLine(value, static_cast<int32_t>(key.size()) - 1);
        break;
      case 'd':
        editor.DeleteProfileLines(static_cast<int32_t>(section.size()),
                                  static_cast<int32_t>(key.size()));
        break;
      case 's': {
        const std::string expected = PlainSave(editor.Lines());
        CHECK(editor.SaveProfileFile(path));
        CHECK(editor.LineCount() == 0);
        CHECK(ReadBack(path) == expected);
        break;
      }
      case 'l':
        editor.LoadProfileFile(path);
        CHECK(editor.Lines() == FreshLoad(path));
        break;
      case 'a':
        editor.UseProfileApi = editor.UseProfileApi ? 0 : -1;
        break;
      default:
        break;
    }
  }
  // Whatever happened, the file is written by the plain rule and reads back
  // as a fresh load reads it.
  const std::string expected = PlainSave(editor.Lines());
  CHECK(editor.SaveProfileFile(path));
  CHECK(ReadBack(path) == expected);
  CHECK(editor.LoadProfileFile(path));
  CHECK(editor.Lines() == FreshLoad(path));
  return 0;
}

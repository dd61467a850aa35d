#include "app/meterimport-settings/reg_file.h"

#include <cstdio>

#include "common/text_encoding.h"
#include "common/text_helpers.h"

namespace mi {
namespace {

constexpr std::string_view kVersion5Header = "Windows Registry Editor Version 5.00";
constexpr std::string_view kRegedit4Header = "REGEDIT4";
constexpr std::string_view kUtf16Bom = "\xFF\xFE";
constexpr std::string_view kUtf8Bom = "\xEF\xBB\xBF";
constexpr size_t kHexLineWidth = 78;  // wrapped like the registry editor does, before the "\"

struct RootSpelling {
  std::string_view name;
  Root root;
};
constexpr RootSpelling kRoots[] = {{"HKEY_LOCAL_MACHINE", Root::kMachine},
                                   {"HKLM", Root::kMachine},
                                   {"HKEY_CURRENT_USER", Root::kUser},
                                   {"HKCU", Root::kUser}};

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

int LineOfOffset(std::string_view text, size_t offset) {
  int line = 1;
  for (size_t i = 0; i < offset && i < text.size(); ++i) line += text[i] == '\n';
  return line;
}

std::optional<unsigned> HexDigit(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A' + 10);
  return std::nullopt;
}

// 1 to 8 hexadecimal digits.
std::optional<uint32_t> ParseHex32(std::string_view text) {
  if (text.empty() || text.size() > 8) return std::nullopt;
  uint32_t number = 0;
  for (char c : text) {
    auto digit = HexDigit(c);
    if (!digit) return std::nullopt;
    number = (number << 4) | *digit;
  }
  return number;
}

std::string Hex2(unsigned char byte) {
  char buffer[3];
  std::snprintf(buffer, sizeof buffer, "%02x", byte);
  return buffer;
}

// Reads a quoted text starting at text[pos] == '"' (escapes \\ and \"), and
// sets `pos` behind the closing quote.
bool ParseQuoted(std::string_view text, size_t& pos, std::string& out, std::string& error) {
  out.clear();
  for (size_t i = pos + 1; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '"') {
      pos = i + 1;
      return true;
    }
    if (c == '\\') {
      if (i + 1 >= text.size() || (text[i + 1] != '\\' && text[i + 1] != '"')) {
        error = "unknown escape in a quoted text (only \\\\ and \\\" are allowed)";
        return false;
      }
      out += text[++i];
    } else {
      out += c;
    }
  }
  error = "missing closing quote";
  return false;
}

// "01,ab, 2f" (a trailing comma allowed) into bytes.
bool ParseHexBytes(std::string_view text, std::string& out, std::string& error) {
  out.clear();
  text = TrimBlanks(text);
  if (text.empty()) return true;
  if (text.back() == ',') text.remove_suffix(1);
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find(',', start);
    if (end == std::string_view::npos) end = text.size();
    const std::string_view item = TrimBlanks(text.substr(start, end - start));
    const auto first = item.empty() ? std::nullopt : HexDigit(item[0]);
    const auto second = item.size() == 2 ? HexDigit(item[1]) : std::optional<unsigned>(0);
    if (!first || item.size() > 2 || !second) {
      error = "bad hexadecimal byte '" + std::string(item) + "'";
      return false;
    }
    out += static_cast<char>(item.size() == 2 ? (*first << 4) | *second : *first);
    start = end + 1;
  }
  return true;
}

std::string QuoteName(std::string_view text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '\\' || c == '"') out += '\\';
    out += c;
  }
  return out + '"';
}

bool HasLineBreak(std::string_view text) {
  return text.find_first_of("\r\n") != std::string_view::npos;
}

constexpr size_t kWriterPiece = 1 << 20;

// A text value that "..." gives back byte for byte: one closing NUL and no
// other, valid UTF-8, no line break.
bool IsPlainText(const RegValue& value) {
  const std::string& data = value.data;
  return value.type == kRegSz && !data.empty() && data.find('\0') == data.size() - 1 &&
         !HasLineBreak(data) && IsValidUtf8(data);
}

// Parses the lines of a decoded file.
class RegFileParser {
 public:
  RegFileParser(RegFileFormat format, std::vector<std::string_view> lines)
      : format_(format), lines_(std::move(lines)) {}

  std::optional<RegFile> Parse(RegFileError* error) {
    RegFile file;
    file.format = format_;
    for (index_ = 1; index_ < lines_.size(); ++index_) {
      line_number_ = static_cast<int>(index_) + 1;
      const std::string_view line = TrimBlanks(lines_[index_]);
      if (line.empty() || line.front() == ';') continue;
      const bool ok = line.front() == '[' ? ParseKeyLine(line, file) : ParseValueLine(line, file);
      if (!ok) {
        *error = {line_number_, message_};
        return std::nullopt;
      }
    }
    return file;
  }

 private:
  bool Fail(std::string message) {
    message_ = std::move(message);
    return false;
  }

  bool ParseKeyLine(std::string_view line, RegFile& file) {
    if (line.back() != ']') return Fail("a key line must end with ']'");
    std::string_view inner = line.substr(1, line.size() - 2);
    const bool remove = !inner.empty() && inner.front() == '-';
    if (remove) inner.remove_prefix(1);
    auto key = ParseRootedKey(inner);
    if (!key) {
      const std::string root(inner.substr(0, inner.find('\\')));
      return Fail("unknown root '" + root +
                  "' (only HKEY_LOCAL_MACHINE and HKEY_CURRENT_USER can be imported)");
    }
    if (remove && SplitKeyPath(key->path).empty()) return Fail("a whole root cannot be removed");
    RegChange change;
    change.kind = remove ? RegChange::Kind::kDeleteKey : RegChange::Kind::kCreateKey;
    change.root = key->root;
    change.key_path = key->path;
    change.line = line_number_;
    file.changes.push_back(std::move(change));
    current_ = std::move(key);
    current_removed_ = remove;
    return true;
  }

  bool ParseValueLine(std::string_view line, RegFile& file) {
    if (line.front() != '@' && line.front() != '"') {
      return Fail("expected a [key], a value (\"name\"= or @=) or a ; comment");
    }
    if (!current_) return Fail("a value before the first [key]");
    if (current_removed_) return Fail("a value under a key that this file removes");
    RegChange change;
    change.root = current_->root;
    change.key_path = current_->path;
    change.line = line_number_;
    size_t pos = line.front() == '@' ? 1 : 0;
    if (pos == 0 && !ParseQuoted(line, pos, change.name, message_)) return false;
    while (pos < line.size() && IsBlank(line[pos])) ++pos;
    if (pos >= line.size() || line[pos] != '=') return Fail("expected '=' after the value name");
    const std::string_view data = TrimBlanks(line.substr(pos + 1));
    if (!ParseData(data, change)) return false;
    file.changes.push_back(std::move(change));
    return true;
  }

  bool ParseData(std::string_view data, RegChange& change) {
    if (data == "-") {
      change.kind = RegChange::Kind::kDeleteValue;
      return true;
    }
    change.kind = RegChange::Kind::kSetValue;
    if (!data.empty() && data.front() == '"') {
      size_t pos = 0;
      if (!ParseQuoted(data, pos, change.data, message_)) return false;
      if (pos != data.size()) return Fail("unexpected text after the closing quote");
      change.type = kRegSz;
      change.data.push_back('\0');
      return true;
    }
    if (StartsWithNoCase(data, "dword:")) {
      auto number = ParseHex32(data.substr(6));
      if (!number) return Fail("dword: needs 1 to 8 hexadecimal digits");
      change.type = kRegDword;
      change.data.clear();
      for (int i = 0; i < 4; ++i) change.data += static_cast<char>((*number >> (8 * i)) & 0xFF);
      return true;
    }
    if (StartsWithNoCase(data, "hex")) return ParseHexData(data, change);
    return Fail("unknown value data (expected \"text\", dword:, hex:, hex(N): or -)");
  }

  bool ParseHexData(std::string_view data, RegChange& change) {
    const size_t colon = data.find(':');
    if (colon == std::string_view::npos) return Fail("expected ':' after hex");
    const std::string_view kind = data.substr(3, colon - 3);
    if (kind.empty()) {
      change.type = kRegBinary;
    } else {
      auto type = kind.size() >= 2 && kind.front() == '(' && kind.back() == ')'
                      ? ParseHex32(kind.substr(1, kind.size() - 2))
                      : std::nullopt;
      if (!type) return Fail("bad value type 'hex" + std::string(kind) + "' (expected hex(N):)");
      change.type = *type;
    }
    // The bytes may go on over further lines, each ending with "\".
    std::string bytes_text(TrimBlanks(data.substr(colon + 1)));
    while (!bytes_text.empty() && bytes_text.back() == '\\') {
      bytes_text.pop_back();
      if (index_ + 1 >= lines_.size()) return Fail("the file ends inside a continued value");
      bytes_text += TrimBlanks(lines_[++index_]);
    }
    std::string bytes;
    if (!ParseHexBytes(bytes_text, bytes, message_)) return false;
    if (change.type == kRegExpandSz || change.type == kRegMultiSz) {
      if (format_ == RegFileFormat::kVersion5) {
        if (bytes.size() % 2 != 0) return Fail("UTF-16 text data with an odd number of bytes");
        bytes = Utf16LeToUtf8(bytes);
        // The same rule as for the file's own text: a lone surrogate is no
        // character, and the hive keeps texts as UTF-8.
        if (!IsValidUtf8(bytes)) {
          return Fail("UTF-16 text data that is not valid (a lone surrogate)");
        }
      } else if (!IsValidUtf8(bytes)) {
        bytes = Windows1252ToUtf8(bytes);
      }
    }
    change.data = std::move(bytes);
    return true;
  }

  RegFileFormat format_;
  std::vector<std::string_view> lines_;
  size_t index_ = 0;
  int line_number_ = 0;
  std::string message_;
  std::optional<RootedKey> current_;
  bool current_removed_ = false;
};

// The file's text as UTF-8, or the error. Files in UTF-16 and in UTF-8 follow
// the same rules once decoded: NULs at the very end (some writers pad files
// with them) are dropped, any other NUL is a mistake, and so is anything that
// is not a character (a lone surrogate in UTF-16, a stray byte in UTF-8).
std::optional<std::string> DecodeFile(std::string_view bytes, RegFileError* error) {
  std::string text;
  if (bytes.starts_with(kUtf16Bom)) {
    bytes.remove_prefix(kUtf16Bom.size());
    size_t end = bytes.size();
    while (end > 0 && bytes[end - 1] == '\0') --end;
    if (end % 2 != 0) ++end;  // the high byte of the last character
    if (end > bytes.size()) {
      *error = {LineOfOffset(Utf16LeToUtf8(bytes), bytes.size()),
                "UTF-16 file with an odd number of bytes"};
      return std::nullopt;
    }
    text = Utf16LeToUtf8(bytes.substr(0, end));
    const size_t bad = FindInvalidUtf8(text);
    if (bad != std::string_view::npos) {
      *error = {LineOfOffset(text, bad), "not valid UTF-16 (a lone surrogate)"};
      return std::nullopt;
    }
  } else {
    const bool bom = bytes.starts_with(kUtf8Bom);
    if (bom) bytes.remove_prefix(kUtf8Bom.size());
    const size_t bad = FindInvalidUtf8(bytes);
    if (bad == std::string_view::npos) {
      text = bytes;
    } else if (!bom && bytes.starts_with(kRegedit4Header)) {
      text = Windows1252ToUtf8(bytes);
    } else {
      *error = {LineOfOffset(bytes, bad), "not valid UTF-8"};
      return std::nullopt;
    }
  }
  while (!text.empty() && text.back() == '\0') text.pop_back();
  const size_t nul = text.find('\0');
  if (nul != std::string::npos) {
    *error = {LineOfOffset(text, nul),
              "a NUL character (names and quoted texts cannot hold one; hex: data can)"};
    return std::nullopt;
  }
  return text;
}

}  // namespace

std::optional<RootedKey> ParseRootedKey(std::string_view text) {
  const size_t slash = text.find('\\');
  const std::string_view root = text.substr(0, slash);
  for (const auto& spelling : kRoots) {
    if (EqualsNoCase(root, spelling.name)) {
      RootedKey key;
      key.root = spelling.root;
      if (slash != std::string_view::npos) key.path = text.substr(slash + 1);
      return key;
    }
  }
  return std::nullopt;
}

std::string_view RootName(Root root) {
  return root == Root::kMachine ? "HKEY_LOCAL_MACHINE" : "HKEY_CURRENT_USER";
}

std::optional<RegFile> ParseRegFile(std::string_view bytes, RegFileError* error) {
  auto text = DecodeFile(bytes, error);
  if (!text) return std::nullopt;
  std::vector<std::string_view> lines;
  std::string_view rest = *text;
  while (true) {
    const size_t end = rest.find('\n');
    std::string_view line = rest.substr(0, end);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    lines.push_back(line);
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + 1);
  }
  const std::string_view header = TrimBlanks(lines.front());
  RegFileFormat format;
  if (header == kVersion5Header) {
    format = RegFileFormat::kVersion5;
  } else if (header == kRegedit4Header) {
    format = RegFileFormat::kRegedit4;
  } else {
    *error = {1, "not a registry file (the first line must be \"" + std::string(kVersion5Header) +
                     "\" or \"" + std::string(kRegedit4Header) + "\")"};
    return std::nullopt;
  }
  return RegFileParser(format, std::move(lines)).Parse(error);
}

std::string FormatRegValue(const RegValue& value) {
  std::string line = value.name.empty() ? "@" : QuoteName(value.name);
  line += '=';
  if (IsPlainText(value)) {
    return line + QuoteName(std::string_view(value.data).substr(0, value.data.size() - 1));
  }
  if (value.type == kRegDword && value.data.size() == 4) {
    uint32_t number = 0;
    for (int i = 3; i >= 0; --i) number = (number << 8) | static_cast<unsigned char>(value.data[i]);
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "dword:%08x", number);
    return line + buffer;
  }
  std::string bytes = value.data;
  if (value.type == kRegBinary) {
    line += "hex:";
  } else {
    char buffer[24];
    std::snprintf(buffer, sizeof buffer, "hex(%x):", value.type);
    line += buffer;
    // Expandable and multi-texts are UTF-16 in these files; any other type
    // keeps its raw bytes.
    if (value.type == kRegExpandSz || value.type == kRegMultiSz) bytes = Utf8ToUtf16Le(bytes);
  }
  std::string out;
  for (size_t i = 0; i < bytes.size(); ++i) {
    std::string item = Hex2(static_cast<unsigned char>(bytes[i]));
    if (i + 1 < bytes.size()) item += ',';
    if (line.size() + item.size() > kHexLineWidth) {
      out += line + "\\\r\n";
      line = "  ";
    }
    line += item;
  }
  return out + line;
}

bool UnfitForRegFile(std::string_view name) {
  for (const char c : name) {
    if (c == '\r' || c == '\n' || c == '\0') return true;
  }
  return false;
}

std::string WhyUnfitForRegFile(const RegValue& value) {
  if (UnfitForRegFile(value.name)) {
    return "the value name '" + value.name + "' holds a line break or a NUL";
  }
  if ((value.type == kRegExpandSz || value.type == kRegMultiSz) && !IsValidUtf8(value.data)) {
    return "the value '" + value.name + "' holds " +
           (value.type == kRegExpandSz ? "REG_EXPAND_SZ" : "REG_MULTI_SZ") +
           " data that are not UTF-8 text (the file carries them as UTF-16)";
  }
  return std::string();
}

RegFileWriter::RegFileWriter(Sink sink) : sink_(std::move(sink)) {
  buffer_.reserve(kWriterPiece + kWriterPiece / 4);
  buffer_ = kUtf16Bom;
  AppendUtf16Le(buffer_, std::string(kVersion5Header) + "\r\n");
}

bool RegFileWriter::Flush(size_t at_least) {
  if (buffer_.size() < at_least) return true;
  const bool ok = sink_(buffer_);
  buffer_.clear();
  return ok;
}

bool RegFileWriter::AddKey(std::string_view name, const std::vector<RegValue>& values,
                           std::string* error) {
  if (UnfitForRegFile(name)) {
    *error = "the key name '" + std::string(name) + "' holds a line break or a NUL";
    return false;
  }
  lines_.clear();
  for (const auto& value : values) {
    if (const std::string why = WhyUnfitForRegFile(value); !why.empty()) {
      *error = why + " (under " + std::string(name) + ")";
      return false;
    }
    lines_ += FormatRegValue(value);
    lines_ += "\r\n";
  }
  AppendUtf16Le(buffer_, "\r\n[");
  AppendUtf16Le(buffer_, name);
  AppendUtf16Le(buffer_, "]\r\n");
  AppendUtf16Le(buffer_, lines_);
  if (!Flush(kWriterPiece)) {
    *error = "the file cannot be written";
    return false;
  }
  return true;
}

bool RegFileWriter::Finish() {
  AppendUtf16Le(buffer_, "\r\n");
  return Flush(0);
}

std::optional<std::string> FormatRegFile(const std::vector<RegKeyDump>& keys, std::string* error) {
  std::string bytes;
  RegFileWriter writer([&](std::string_view piece) {
    bytes += piece;
    return true;
  });
  for (const auto& key : keys) {
    if (!writer.AddKey(key.name, key.values, error)) return std::nullopt;
  }
  writer.Finish();
  return bytes;
}

}  // namespace mi

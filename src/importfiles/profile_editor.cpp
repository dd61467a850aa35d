#include "importfiles/profile_editor.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <utility>

#include "common/conversions.h"
#include "common/settings_store.h"
#include "common/text_encoding.h"
#include "common/text_helpers.h"
#include "importfiles/file_store.h"

namespace mi {
namespace {

constexpr std::string_view kForbiddenNameChars = "[]=";

std::string Upper(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return out;
}

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool BeginsSection(std::string_view line) {
  return !line.empty() && line.front() == '[';
}

// Splits text into lines ending at CR, LF or CR LF; a last line without an
// end counts when it is not empty.
template <typename Sink>
void SplitLines(std::string_view text, Sink&& sink) {
  const char* p = text.data();
  const char* const end = p + text.size();
  while (p < end) {
    const char* q = p;
    while (q < end && *q != '\r' && *q != '\n') ++q;
    sink(std::string_view(p, static_cast<size_t>(q - p)));
    if (q == end) break;
    if (*q == '\r' && q + 1 < end && q[1] == '\n') ++q;
    p = q + 1;
  }
}

bool IsTrimmedChar(char c) {
  return static_cast<unsigned char>(c) < 20 || c == ' ';
}

// A line as the save writes it: TrimControlChars, without a copy for the
// usual line that has nothing to trim.
void AppendTrimmed(std::string& out, std::string_view line) {
  if (line.empty()) return;
  if (line.front() != '\0' && !IsTrimmedChar(line.front()) && !IsTrimmedChar(line.back())) {
    out.append(line);
  } else {
    out.append(TrimControlChars(line));
  }
}

// The section name of a profile-file section line, as the platform reads it.
std::optional<std::string_view> SectionNameOf(std::string_view line) {
  const std::string_view text = TrimBlanks(line);
  if (!BeginsSection(text)) return std::nullopt;
  const size_t close = text.find(']');
  if (close == std::string_view::npos) return std::nullopt;
  return TrimBlanks(text.substr(1, close - 1));
}

}  // namespace

ProfileEditor::ProfileEditor(FileStore* files) : files_(files != nullptr ? files : &Disk()) {}

// ---- The buffer ------------------------------------------------------------

std::string_view& ProfileEditor::At(int32_t position) {
  const auto index = static_cast<size_t>(position - 1);
  return index < head_.size() ? head_[index] : tail_[index - head_.size()];
}

std::string_view ProfileEditor::At(int32_t position) const {
  const auto index = static_cast<size_t>(position - 1);
  return index < head_.size() ? head_[index] : tail_[index - head_.size()];
}

void ProfileEditor::MoveGap(size_t gap) {
  while (head_.size() > gap) {
    tail_.push_front(head_.back());
    head_.pop_back();
  }
  while (head_.size() < gap && !tail_.empty()) {
    head_.push_back(tail_.front());
    tail_.pop_front();
  }
}

std::string_view ProfileEditor::Store(std::string_view text) {
  if (text.empty()) return {};
  constexpr size_t kBlock = size_t{64} * 1024;
  char* at;
  if (text.size() > kBlock / 4) {  // a long text gets a block of its own
    stored_large_.push_back(std::make_unique<char[]>(text.size()));
    at = stored_large_.back().get();
  } else {
    if (stored_.empty() || stored_used_ + text.size() > kBlock) {
      stored_.push_back(std::make_unique<char[]>(kBlock));
      stored_used_ = 0;
    }
    at = stored_.back().get() + stored_used_;
    stored_used_ += text.size();
  }
  stored_bytes_ += text.size();
  std::memcpy(at, text.data(), text.size());
  return std::string_view(at, text.size());
}

namespace {

// The number of a key written as a plain decimal number ("0", "17"; not
// "017" or "+1"), when it is small enough to be kept by number.
std::optional<size_t> KeyNumber(std::string_view key) {
  if (key.empty() || key.size() > 6 || (key.size() > 1 && key.front() == '0')) return std::nullopt;
  size_t number = 0;
  for (const char c : key) {
    if (c < '0' || c > '9') return std::nullopt;
    number = number * 10 + static_cast<size_t>(c - '0');
  }
  return number;
}

}  // namespace

const int32_t* ProfileEditor::SectionIndex::Find(std::string_view key) const {
  if (const auto number = KeyNumber(key)) {
    if (*number < numbered.size() && numbered[*number] != kNoLine) return &numbered[*number];
    return nullptr;
  }
  const auto found = first_line.find(Upper(key));
  return found == first_line.end() ? nullptr : &found->second;
}

void ProfileEditor::SectionIndex::Set(std::string_view key, int32_t stored, bool only_if_new) {
  if (const auto number = KeyNumber(key)) {
    if (*number >= numbered.size())
      numbered.resize(std::max(*number + 1, numbered.size() * 2), kNoLine);
    if (!only_if_new || numbered[*number] == kNoLine) numbered[*number] = stored;
    return;
  }
  if (only_if_new) {
    first_line.try_emplace(Upper(key), stored);
  } else {
    first_line[Upper(key)] = stored;
  }
}

void ProfileEditor::Insert(int32_t position, std::string_view text) {
  MoveGap(static_cast<size_t>(position - 1));
  tail_.push_front(Store(text));
}

void ProfileEditor::Append(std::string_view text) {
  if (tail_.empty()) {
    head_.push_back(Store(text));
  } else {
    tail_.push_back(Store(text));
  }
}

void ProfileEditor::Reset() {
  head_.clear();
  tail_.clear();
  stored_.clear();
  stored_large_.clear();
  stored_used_ = 0;
  stored_bytes_ = 0;
  // The text as loaded is kept as the buffer of the next save: the writers
  // load and save the same file a dozen times, and a buffer of megabytes
  // made afresh each time costs more than filling it.
  if (loaded_.capacity() > spare_.capacity()) spare_.swap(loaded_);
  loaded_.clear();
  buffered_file_.clear();
  DropIndex();
}

std::string ProfileEditor::Line(int32_t position) const {
  if (position < 1 || position > LineCount()) return std::string();
  return std::string(At(position));
}

std::vector<std::string> ProfileEditor::Lines() const {
  std::vector<std::string> lines;
  lines.reserve(static_cast<size_t>(LineCount()));
  for (int32_t i = 1; i <= LineCount(); ++i) lines.emplace_back(At(i));
  return lines;
}

// ---- The editor's operations -----------------------------------------------

bool ProfileEditor::LoadProfileFile(std::string_view path) {
  Reset();
  const std::filesystem::path file = ResolveDataPath(path);
  if (TakeSavedLines(file)) {
    buffered_file_ = std::string(path);
    return true;
  }
  std::optional<std::string> bytes = files_->Read(file);
  if (!bytes) return false;
  loaded_ascii_ = IsAscii(*bytes);
  loaded_ = loaded_ascii_ ? std::move(*bytes) : Windows1252ToUtf8(*bytes);
  SplitLines(loaded_, [this](std::string_view line) { head_.push_back(line); });
  buffered_file_ = std::string(path);
  return true;
}

bool ProfileEditor::TakeSavedLines(const std::filesystem::path& file) {
  if (!saved_.valid) return false;
  saved_.valid = false;
  const std::string& written = saved_.bytes.empty() ? saved_.text : saved_.bytes;
  if (saved_.file != file.native() || !files_->Holds(file, written)) return false;
  loaded_ascii_ = saved_.bytes.empty();
  loaded_ = std::move(saved_.text);
  head_.reserve(saved_.lines.size());
  for (const auto& [offset, length] : saved_.lines)
    head_.emplace_back(loaded_.data() + offset, length);
  return true;
}

bool ProfileEditor::IsLoadedText(std::string_view line) const {
  const auto begin = reinterpret_cast<uintptr_t>(loaded_.data());
  const auto at = reinterpret_cast<uintptr_t>(line.data());
  return at >= begin && at + line.size() <= begin + loaded_.size();
}

void ProfileEditor::ClearProfileBuffer() {
  Reset();
}

bool ProfileEditor::SaveProfileFile(std::string_view path) {
  std::string text;
  text.swap(spare_);
  text.clear();
  text.reserve(loaded_.size() + loaded_.size() / 8 + stored_bytes_ +
               2 * static_cast<size_t>(LineCount()) + 64);
  std::vector<std::pair<size_t, size_t>> written_lines;
  written_lines.reserve(static_cast<size_t>(LineCount()));
  bool splits_as_written = true;  // no written line holds a CR or LF of its own

  // Lines that come unchanged from the file as loaded, one after the other
  // with CR LF between them, are copied as one block: they need no trimming
  // and the bytes between them are exactly what the save would put there.
  const char* run_begin = nullptr;
  const char* run_end = nullptr;
  size_t run_offset = 0;
  const auto flush_run = [&] {
    if (run_begin == nullptr) return;
    text.append(run_begin, static_cast<size_t>(run_end - run_begin));
    text.append("\r\n");
    run_begin = nullptr;
  };

  bool ascii = true;
  const size_t head = head_.size();
  const size_t count = head + tail_.size();
  const auto line_at = [&](size_t index) {
    return index < head ? head_[index] : tail_[index - head];
  };
  for (size_t i = 0; i < count; ++i) {
    const std::string_view line = line_at(i);
    // A blank line stays only before a line that holds a section bracket.
    if (line.empty() && i + 1 < count && line_at(i + 1).find('[') == std::string_view::npos) {
      flush_run();
      continue;
    }
    const bool needs_no_trim =
        line.empty() ||
        (line.front() != '\0' && !IsTrimmedChar(line.front()) && !IsTrimmedChar(line.back()));
    if (needs_no_trim && IsLoadedText(line)) {
      if (run_begin != nullptr && line.data() == run_end + 2 && run_end[0] == '\r' &&
          run_end[1] == '\n') {
        run_end = line.data() + line.size();
      } else {
        flush_run();
        run_begin = line.data();
        run_end = line.data() + line.size();
        run_offset = text.size();
        ascii = ascii && loaded_ascii_;
      }
      written_lines.emplace_back(run_offset + static_cast<size_t>(line.data() - run_begin),
                                 line.size());
      continue;
    }
    flush_run();
    const size_t offset = text.size();
    AppendTrimmed(text, line);
    ascii = ascii && IsAscii(std::string_view(text).substr(offset));
    for (size_t k = offset; k < text.size(); ++k) {
      if (text[k] == '\r' || text[k] == '\n') splits_as_written = false;
    }
    written_lines.emplace_back(offset, text.size() - offset);
    text.append("\r\n");
  }
  flush_run();

  const std::filesystem::path file = ResolveDataPathForWriting(path);
  std::string bytes;
  if (!ascii) {
    bytes = Utf8ToWindows1252(text);
    // Remembered only when reading the bytes back gives this very text.
    if (Windows1252ToUtf8(bytes) != text) splits_as_written = false;
  }
  std::string why;
  const bool ok = files_->Replace(file, bytes.empty() ? text : bytes, &why);
  if (!ok) {
    ++failed_saves_;
    last_save_failure_ = file.string() + ": " + why;
  }
  ClearProfileBuffer();

  saved_.valid = ok && splits_as_written;
  if (saved_.valid) {
    saved_.file = file.native();
    saved_.text = std::move(text);
    saved_.bytes = std::move(bytes);
    saved_.lines = std::move(written_lines);
  }
  return ok;
}

bool ProfileEditor::FindProfileLine(int32_t& position, std::string_view prefix,
                                    bool stop_at_section) {
  const int32_t count = LineCount();
  if (position < 0) position = 0;
  bool passed_non_empty = false;
  const char first = prefix.empty() ? '\0' : Lower(prefix.front());
  while (position < count) {
    ++position;
    const std::string_view line = At(position);
    if (stop_at_section && BeginsSection(line)) return false;
    if ((prefix.empty() || (!line.empty() && Lower(line.front()) == first)) &&
        StartsWithNoCase(line, prefix)) {
      return true;
    }
    if (!line.empty()) passed_non_empty = true;
  }
  // Ran off the end: the buffer gets one empty line more, so that a file
  // always ends in an empty line and a new section follows a blank one.
  if (passed_non_empty) Append("");
  return false;
}

void ProfileEditor::InsertProfileLine(std::string_view text, int32_t position) {
  if (position == 0) position = LineCount() + 1;
  if (position < 1 || position > LineCount() + 1) return;
  DropIndex();
  Insert(position, text);
}

void ProfileEditor::DeleteProfileLines(int32_t first, int32_t last) {
  if (first < 1) first = 1;
  if (last > LineCount()) last = LineCount();
  if (first > last) return;
  DropIndex();
  MoveGap(static_cast<size_t>(first - 1));
  tail_.erase(tail_.begin(), tail_.begin() + (last - first + 1));
}

bool ProfileEditor::IsValidProfileName(std::string_view name) {
  return name.find_first_of(kForbiddenNameChars) == std::string_view::npos;
}

void ProfileEditor::ClearProfileSection(std::string_view section, std::string_view path) {
  if (!IsValidProfileName(section)) return;
  LoadProfileFile(path);
  int32_t position = 0;
  if (!FindProfileLine(position, "[" + std::string(section) + "]", false)) return;
  const int32_t first = position;
  if (FindProfileLine(position, "[", false)) {
    DeleteProfileLines(first, position - 1);
  } else {
    DeleteProfileLines(first, LineCount());
  }
  SaveProfileFile(path);
}

namespace {

// Sections, keys and values are text on one line: a CR, LF or NUL becomes a
// blank, so that no text of a meter or of the settings (a serial number, an
// insulin's name) can start a line, a section or a key of its own. Texts
// without one, nearly all of them, pass unchanged.
std::string_view OneLine(std::string_view text, std::string& cleaned) {
  if (!BreaksLine(text)) return text;
  cleaned = OnOneLine(text);
  return cleaned;
}

}  // namespace

int16_t ProfileEditor::WriteProfileEntry(std::string_view raw_section, std::string_view raw_key,
                                         std::string_view raw_value, std::string_view path,
                                         int16_t keep_in_memory) {
  std::string cleaned_section;
  std::string cleaned_key;
  std::string cleaned_value;
  const std::string_view section = OneLine(raw_section, cleaned_section);
  const std::string_view key = OneLine(raw_key, cleaned_key);
  const std::string_view value = OneLine(raw_value, cleaned_value);
  if (UseProfileApi != 0) {
    std::string why;
    if (!WritePrivateProfileEntry(section, key, value, path, *files_, &why)) {
      ++failed_saves_;
      last_save_failure_ = std::string(path) + ": " + why;
    }
    return 0;
  }
  // Only a bad section together with a good key is refused; a bad key lets
  // the write through whatever the section. The host's files depend on
  // exactly this pairing.
  if (!IsValidProfileName(section) && IsValidProfileName(key)) return -1;

  if (buffered_file_.empty() || (buffered_file_ != path && !EqualsNoCase(buffered_file_, path))) {
    LoadProfileFile(path);
  }

  std::string entry;
  entry.reserve(key.size() + 1 + value.size());
  entry.append(key).append("=").append(value);

  const std::string section_upper = Upper(section);
  if (index_.valid && index_.name == section_upper) {
    WriteInSection(index_.line, key, entry);
  } else {
    DropIndex();
    int32_t position = 0;
    if (FindProfileLine(position, "[" + std::string(section) + "]", false)) {
      if (keep_in_memory != 0) BuildIndex(section_upper, position);
      WriteInSection(position, key, entry);
    } else {
      if (LineCount() > 0 && !At(LineCount()).empty()) Append("");
      Append("[" + std::string(section) + "]");
      Append(entry);
    }
  }

  if (keep_in_memory == 0) SaveProfileFile(path);
  return 0;
}

void ProfileEditor::BuildIndex(std::string_view section_upper, int32_t section_line) {
  index_ = SectionIndex{};
  index_.name = std::string(section_upper);
  index_.line = section_line;
  index_.reaches_end = true;
  const int32_t count = LineCount();
  for (int32_t i = section_line + 1; i <= count; ++i) {
    const std::string_view line = At(i);
    if (BeginsSection(line)) {
      index_.reaches_end = false;
      break;
    }
    if (line.empty()) continue;
    ++index_.non_empty;
    const size_t equals = line.find('=');
    if (equals != std::string_view::npos) index_.Set(line.substr(0, equals), i, true);
  }
  index_.valid = true;
}

// Sets the entry in the section whose line is at `section_line`: in place when
// a line begins with key + "=" before the next section, else as a new line
// directly below the section line.
void ProfileEditor::WriteInSection(int32_t section_line, std::string_view key,
                                   std::string_view entry) {
  const std::string_view prefix = entry.substr(0, key.size() + 1);
  if (index_.valid && key.find('=') == std::string_view::npos) {
    if (const int32_t* stored = index_.Find(key)) {
      At(*stored + index_.shift) = Store(entry);
      return;
    }
    // The search would have run through the whole section without success.
    if (index_.reaches_end && index_.non_empty > 0) Append("");
  } else {
    int32_t position = section_line;
    if (FindProfileLine(position, prefix, true)) {
      At(position) = Store(entry);
      return;
    }
  }
  Insert(section_line + 1, entry);
  if (!index_.valid) return;
  if (BeginsSection(entry)) {  // a key beginning with "[" starts a section of its own
    DropIndex();
    return;
  }
  ++index_.shift;
  ++index_.non_empty;
  const std::string_view entry_key = entry.substr(0, entry.find('='));
  // The new line is the section's first, so it is the first of its key.
  index_.Set(entry_key, section_line + 1 - index_.shift, false);
}

// ---- The platform's profile storage ------------------------------------------

bool WritePrivateProfileEntry(std::string_view section, std::string_view key,
                              std::string_view value, std::string_view path, FileStore& files,
                              std::string* why) {
  const std::filesystem::path file = ResolveDataPathForWriting(path);
  std::vector<std::string> lines;
  if (std::optional<std::string> bytes = files.Read(file)) {
    SplitLines(Windows1252ToUtf8(*bytes),
               [&lines](std::string_view line) { lines.emplace_back(line); });
  }
  std::string entry = std::string(key) + "=" + std::string(value);
  const std::string_view wanted_section = TrimBlanks(section);
  const std::string_view wanted_key = TrimBlanks(key);

  size_t section_at = lines.size();
  for (size_t i = 0; i < lines.size(); ++i) {
    const auto name = SectionNameOf(lines[i]);
    if (name && EqualsNoCase(*name, wanted_section)) {
      section_at = i;
      break;
    }
  }
  if (section_at < lines.size()) {
    size_t last_entry = section_at;
    std::optional<size_t> replaced;
    for (size_t i = section_at + 1; i < lines.size() && !SectionNameOf(lines[i]); ++i) {
      const std::string_view line = lines[i];
      if (TrimBlanks(line).empty()) continue;
      last_entry = i;
      const size_t equals = line.find('=');
      if (equals != std::string_view::npos &&
          EqualsNoCase(TrimBlanks(line.substr(0, equals)), wanted_key)) {
        replaced = i;
        break;
      }
    }
    if (replaced) {
      lines[*replaced] = std::move(entry);
    } else {
      lines.insert(lines.begin() + static_cast<ptrdiff_t>(last_entry + 1), std::move(entry));
    }
  } else {
    if (!lines.empty() && !TrimBlanks(lines.back()).empty()) lines.emplace_back();
    lines.push_back("[" + std::string(section) + "]");
    lines.push_back(std::move(entry));
  }
  std::string text;
  for (const std::string& line : lines) text.append(line).append("\r\n");
  return files.Replace(file, Utf8ToWindows1252(text), why);
}

std::string DecimalText(double value, std::string_view pattern) {
  const size_t point = pattern.find('.');
  const int decimals =
      point == std::string_view::npos ? 0 : static_cast<int>(pattern.size() - point - 1);
  // Doses and amounts come from a small set of values (whole and half units),
  // so the texts made are kept in a small table, exact value by exact value.
  struct Remembered {
    bool used = false;
    uint64_t bits = 0;
    int decimals = 0;
    std::string text;
  };
  thread_local std::array<Remembered, 64> table;
  uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  Remembered& slot =
      table[(bits ^ (bits >> 29) ^ (bits >> 47) ^ static_cast<uint64_t>(decimals)) % table.size()];
  if (slot.used && slot.bits == bits && slot.decimals == decimals) return slot.text;
  std::string text = FormatFixed(value, decimals, '.');
  for (char& c : text) {
    if (c == '.') c = ',';
  }
  slot.used = true;
  slot.bits = bits;
  slot.decimals = decimals;
  slot.text = text;
  return text;
}

}  // namespace mi

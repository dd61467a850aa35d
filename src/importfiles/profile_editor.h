#pragma once

// The line editor under the import writers. The import files are laid out
// like profile files: "[SECTION]" lines followed by "KEY=value" lines. The
// editor loads a file into a buffer of lines, changes entries there and writes
// the buffer back, with a few rules that the host's reader depends on (new
// keys at the top of their section, blank lines only before a section line,
// every line trimmed). Texts are UTF-8 in memory, Windows-1252 with CR LF on
// disk. Paths are full file names; a relative name lands in DataDirectory().
//
// Line positions are 1-based; position 0 stands before the first line.

#include <climits>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace mi {

class FileStore;

class ProfileEditor {
 public:
  // Files are read and saved through `files`; the disk when null.
  explicit ProfileEditor(FileStore* files = nullptr);

  // Where files are read and saved from now on (a writer call's transaction).
  void SetFileStore(FileStore& files) { files_ = &files; }
  FileStore& file_store() const { return *files_; }

  // -1: entries go through WritePrivateProfileEntry (the platform's
  // profile-file storage) instead of the buffer. Nothing in the module sets
  // it; it stays 0.
  int16_t UseProfileApi = 0;

  // Empties the buffer and reads every line of the file into it (a line ends
  // at CR, LF or CR LF). A file that cannot be read leaves the buffer empty
  // and BufferedFile() empty; the result is then false.
  bool LoadProfileFile(std::string_view path);

  // Empties the buffer and forgets BufferedFile().
  void ClearProfileBuffer();

  // Writes the buffer to `path` (every line trimmed of control characters and
  // blanks, each followed by CR LF; an empty line is left out unless the line
  // after it contains "[" or it is the last line) and then empties the buffer.
  // The file is replaced as a whole; false when that failed (the old file is
  // then unchanged).
  bool SaveProfileFile(std::string_view path);

  // Searches from the line after `position`, advancing `position`, for a line
  // that begins with `prefix` (without regard to case). With
  // `stop_at_section` the search gives up at the first line beginning with
  // "[". A search that reaches the end of the buffer without success, after
  // passing a non-empty line, lengthens the buffer by one empty line.
  bool FindProfileLine(int32_t& position, std::string_view prefix, bool stop_at_section);

  // Inserts `text` at `position` (1 to count + 1), moving the lines from
  // there on down by one; 0 appends after the last line. Other positions
  // change nothing.
  void InsertProfileLine(std::string_view text, int32_t position);

  // Removes lines `first` to `last` (clipped to the buffer).
  void DeleteProfileLines(int32_t first, int32_t last);

  // False when `name` contains one of "[", "]" and "=".
  static bool IsValidProfileName(std::string_view name);

  // Loads the file and removes the section "[section]" with all its lines up
  // to the next line beginning with "[", then saves. Nothing happens for an
  // invalid section name; a file without the section is left loaded and
  // unsaved.
  void ClearProfileSection(std::string_view section, std::string_view path);

  // Sets key=value in the section of the file. An existing key (without
  // regard to case) is replaced where it stands; a new key goes directly
  // below the section line; a new section goes at the end after one blank
  // line. With `keep_in_memory` 0 the file is saved at once, otherwise the
  // change waits in the buffer for the next save. Returns -1 when the write
  // was refused (an invalid section name together with a valid key), else 0.
  // A CR, LF or NUL in the section, the key or the value is written as a
  // blank: each is text on one line.
  int16_t WriteProfileEntry(std::string_view section, std::string_view key, std::string_view value,
                            std::string_view path, int16_t keep_in_memory);

  // The state, for callers that look at it.
  const std::string& BufferedFile() const { return buffered_file_; }
  int32_t LineCount() const { return static_cast<int32_t>(head_.size() + tail_.size()); }
  std::string Line(int32_t position) const;  // "" outside the buffer
  std::vector<std::string> Lines() const;

  // Saves that failed since this editor was made (they are otherwise
  // silent), and why the last one failed.
  int32_t FailedSaves() const { return failed_saves_; }
  const std::string& LastSaveFailure() const { return last_save_failure_; }

 private:
  // The lines live as views into `loaded_` (the file as read) and `stored_`
  // (texts set since). They are kept in two parts around a movable gap:
  // lines 1..head_.size() in head_, the rest in tail_. Inserting at the gap
  // and appending at the end are cheap, which is what the writers do over and
  // over: every new key goes directly below the same section line.
  std::string_view& At(int32_t position);
  std::string_view At(int32_t position) const;
  void MoveGap(size_t gap);
  std::string_view Store(std::string_view text);
  void Insert(int32_t position, std::string_view text);
  void Append(std::string_view text);
  void Reset();

  // An index of the entries of the section that the writer is filling, kept
  // while only WriteProfileEntry changes the buffer, so that looking a key up
  // does not read the whole section each time. Positions are stored minus
  // `shift`, which grows by one for each line inserted below the section
  // line (all the section's entries move down by one).
  struct SectionIndex {
    bool valid = false;
    std::string name;          // the section, upper case
    int32_t line = 0;          // position of the section line
    bool reaches_end = false;  // no line beginning with "[" follows
    int32_t non_empty = 0;     // non-empty lines below the section line
    int32_t shift = 0;
    // Upper-case key -> stored position of its first line. Keys written as
    // plain decimal numbers (the data keys) are kept in `numbered` instead,
    // by number (kNoLine where there is none): far cheaper for thousands.
    std::unordered_map<std::string, int32_t> first_line;
    std::vector<int32_t> numbered;
    const int32_t* Find(std::string_view key) const;
    void Set(std::string_view key, int32_t stored, bool only_if_new);
  };
  static constexpr int32_t kNoLine = INT32_MIN;
  void BuildIndex(std::string_view section_upper, int32_t section_line);
  void DropIndex() { index_.valid = false; }
  void WriteInSection(int32_t section_line, std::string_view key, std::string_view entry);

  // What the last successful save wrote, so that loading the same file again
  // (the writers reload it for every header key) can take the lines as they
  // were written instead of reading, decoding and splitting the file once
  // more. Used only when the file still holds exactly these bytes.
  struct SavedFile {
    bool valid = false;
    std::string file;   // the resolved path
    std::string text;   // the content as UTF-8
    std::string bytes;  // the content as written; empty when equal to `text`
    std::vector<std::pair<size_t, size_t>> lines;  // offset and length in `text`
  };
  bool TakeSavedLines(const std::filesystem::path& file);
  bool IsLoadedText(std::string_view line) const;

  std::string buffered_file_;
  SavedFile saved_;
  std::string loaded_;
  std::string spare_;         // a buffer for the next save
  bool loaded_ascii_ = true;  // `loaded_` holds no byte above 0x7F
  // Texts set since the load, in blocks that are only ever appended to.
  std::vector<std::unique_ptr<char[]>> stored_;
  std::vector<std::unique_ptr<char[]>> stored_large_;
  size_t stored_used_ = 0;   // bytes used in the last block
  size_t stored_bytes_ = 0;  // bytes stored in all
  std::vector<std::string_view> head_;
  std::deque<std::string_view> tail_;
  SectionIndex index_;
  FileStore* files_;
  int32_t failed_saves_ = 0;
  std::string last_save_failure_;
};

// The platform's own profile-file writing, used when UseProfileApi is set: the
// file is read, the key is replaced where it stands (names compared without
// regard to case, blanks around them ignored) or added after the last entry
// of its section, or the section is added at the end of the file after a
// blank line; the file is written back in Windows-1252 with CR LF. False when
// the file could not be written (`why` then says why).
bool WritePrivateProfileEntry(std::string_view section, std::string_view key,
                              std::string_view value, std::string_view path, FileStore& files,
                              std::string* why = nullptr);

// `value` formatted with a pattern of the "0" / "0.0" kind (halves away from
// zero), then every "." replaced by ",": the import files always carry a
// decimal comma.
std::string DecimalText(double value, std::string_view pattern);

}  // namespace mi

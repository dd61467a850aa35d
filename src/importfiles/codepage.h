#pragma once

// The import files are Windows-1252 text on disk, while every text in memory is
// UTF-8. These two conversions sit between the two.

#include <string>
#include <string_view>

namespace mi {

// Windows-1252 bytes to UTF-8. The five bytes that the code page leaves
// unassigned (0x81, 0x8D, 0x8F, 0x90, 0x9D) become the control characters of
// the same number, as the platform's own conversion does, so that they come
// back unchanged when written again.
std::string Utf8FromWindows1252(std::string_view bytes);

// UTF-8 to Windows-1252. A character that the code page cannot hold, and every
// byte that is not part of a valid UTF-8 sequence, is written as "?".
std::string Windows1252FromUtf8(std::string_view text);

// True when every byte is below 0x80 (the text is the same in both encodings).
bool IsAscii(std::string_view text);

}  // namespace mi

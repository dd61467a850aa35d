#pragma once

// The module's one place for text encodings. Every text in memory is UTF-8;
// import files are Windows-1252 on disk, registry export files UTF-16LE
// (version 5.00) or 8-bit text (REGEDIT4), language catalogues UTF-8.
//
// UTF-8 and UTF-16 are converted so that any byte string comes back unchanged
// after a trip through UTF-16: a byte that is not part of valid UTF-8 becomes
// the lone surrogate U+DC80..U+DCFF and turns back into that byte. Other lone
// surrogates (which Windows allows in its texts) become their three-byte
// UTF-8 form.

#include <cstddef>
#include <string>
#include <string_view>

namespace mi {

// The offset of the first byte that is not part of valid UTF-8 (no overlong
// forms, no surrogates, nothing above U+10FFFF), or npos when all are valid.
size_t FindInvalidUtf8(std::string_view bytes);
inline bool IsValidUtf8(std::string_view bytes) {
  return FindInvalidUtf8(bytes) == std::string_view::npos;
}

// True when every byte is below 0x80 (the text is the same in every encoding
// here).
bool IsAscii(std::string_view text);

// Windows-1252 bytes to UTF-8. The five bytes that the code page leaves
// unassigned (0x81, 0x8D, 0x8F, 0x90, 0x9D) become the control characters of
// the same number, as the platform's own conversion does, so that they come
// back unchanged when written again.
std::string Windows1252ToUtf8(std::string_view bytes);

// UTF-8 to Windows-1252. A character that the code page cannot hold, and every
// byte that is not part of a valid UTF-8 sequence, is written as "?".
std::string Utf8ToWindows1252(std::string_view text);

// UTF-8 (or any bytes) to UTF-16LE, without byte-order mark.
std::string Utf8ToUtf16Le(std::string_view bytes);
// The same, appended to `out`.
void AppendUtf16Le(std::string& out, std::string_view bytes);
// UTF-16LE to UTF-8; a lone last byte is ignored (callers check the length).
std::string Utf16LeToUtf8(std::string_view utf16);

}  // namespace mi

#pragma once

// Text encodings of registry export files. The hives keep texts as UTF-8;
// version 5.00 files carry UTF-16LE and REGEDIT4 files 8-bit text.
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

// UTF-8 (or any bytes) to UTF-16LE, without byte-order mark.
std::string Utf8ToUtf16Le(std::string_view bytes);
// UTF-16LE to UTF-8; a lone last byte is ignored (callers check the length).
std::string Utf16LeToUtf8(std::string_view utf16);

// Windows-1252 to UTF-8; the five codes that Windows-1252 leaves undefined
// keep their own value (C1 control characters).
std::string Windows1252ToUtf8(std::string_view bytes);

}  // namespace mi

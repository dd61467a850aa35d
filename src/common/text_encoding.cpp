#include "common/text_encoding.h"

#include <cstdint>
#include <cstring>

namespace mi {
namespace {

constexpr char32_t kEscapeBase = 0xDC00;  // lone surrogate U+DC80..U+DCFF = byte 80..FF

// Code points of the Windows-1252 bytes 0x80 to 0x9F; the unassigned bytes
// map to themselves. The rest of the upper half is Latin-1.
constexpr char16_t kWindows1252High[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,  // 80-87
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,  // 88-8F
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,  // 90-97
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,  // 98-9F
};

// Length of the valid UTF-8 sequence at `pos` (its code point in `cp`), or 0.
size_t DecodeUtf8At(std::string_view s, size_t pos, char32_t& cp) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(s[i]); };
  const unsigned char b0 = byte(pos);
  if (b0 < 0x80) {
    cp = b0;
    return 1;
  }
  size_t length = 0;
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  if (b0 >= 0xC2 && b0 <= 0xDF) {
    length = 2;
    cp = b0 & 0x1F;
  } else if (b0 >= 0xE0 && b0 <= 0xEF) {
    length = 3;
    cp = b0 & 0x0F;
    if (b0 == 0xE0) low = 0xA0;   // no overlong forms
    if (b0 == 0xED) high = 0x9F;  // no surrogates
  } else if (b0 >= 0xF0 && b0 <= 0xF4) {
    length = 4;
    cp = b0 & 0x07;
    if (b0 == 0xF0) low = 0x90;
    if (b0 == 0xF4) high = 0x8F;  // nothing above U+10FFFF
  } else {
    return 0;
  }
  if (pos + length > s.size()) return 0;
  for (size_t i = 1; i < length; ++i) {
    const unsigned char b = byte(pos + i);
    if (b < (i == 1 ? low : 0x80) || b > (i == 1 ? high : 0xBF)) return 0;
    cp = (cp << 6) | (b & 0x3F);
  }
  return length;
}

void AppendUtf8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

void AppendUnit(std::string& out, char32_t unit) {
  out += static_cast<char>(unit & 0xFF);
  out += static_cast<char>((unit >> 8) & 0xFF);
}

// The Windows-1252 byte of a code point, or '?' when the code page lacks it.
char Windows1252ByteOf(char32_t code) {
  if (code < 0x80 || (code >= 0xA0 && code <= 0xFF)) return static_cast<char>(code);
  for (int i = 0; i < 32; ++i) {
    if (kWindows1252High[i] == code) return static_cast<char>(0x80 + i);
  }
  return '?';
}

}  // namespace

size_t FindInvalidUtf8(std::string_view bytes) {
  char32_t cp = 0;
  for (size_t pos = 0; pos < bytes.size();) {
    const size_t length = DecodeUtf8At(bytes, pos, cp);
    if (length == 0) return pos;
    pos += length;
  }
  return std::string_view::npos;
}

bool IsAscii(std::string_view text) {
  // Eight bytes at a time: the import files are mostly plain ASCII.
  size_t i = 0;
  for (; i + 8 <= text.size(); i += 8) {
    uint64_t word;
    std::memcpy(&word, text.data() + i, 8);
    if (word & 0x8080808080808080ULL) return false;
  }
  for (; i < text.size(); ++i) {
    if (static_cast<unsigned char>(text[i]) >= 0x80) return false;
  }
  return true;
}

std::string Windows1252ToUtf8(std::string_view bytes) {
  if (IsAscii(bytes)) return std::string(bytes);
  std::string out;
  out.reserve(bytes.size() + bytes.size() / 8);
  for (const char c : bytes) {
    const auto b = static_cast<unsigned char>(c);
    if (b >= 0x80 && b <= 0x9F) {
      AppendUtf8(out, kWindows1252High[b - 0x80]);
    } else {
      AppendUtf8(out, b);
    }
  }
  return out;
}

std::string Utf8ToWindows1252(std::string_view text) {
  if (IsAscii(text)) return std::string(text);
  std::string out;
  out.reserve(text.size());
  size_t at = 0;
  while (at < text.size()) {
    char32_t code = 0;
    const size_t length = DecodeUtf8At(text, at, code);
    if (length == 0) {
      out.push_back('?');  // a stray byte: one "?" each, the next byte is read afresh
      ++at;
    } else {
      out.push_back(Windows1252ByteOf(code));
      at += length;
    }
  }
  return out;
}

std::string Utf8ToUtf16Le(std::string_view bytes) {
  std::string out;
  AppendUtf16Le(out, bytes);
  return out;
}

void AppendUtf16Le(std::string& out, std::string_view bytes) {
  for (size_t pos = 0; pos < bytes.size();) {
    // A run of ASCII, the common case, in one go: every second byte is 0.
    size_t end = pos;
    while (end < bytes.size() && static_cast<unsigned char>(bytes[end]) < 0x80) ++end;
    if (end > pos) {
      const size_t at = out.size();
      out.resize(at + 2 * (end - pos));
      char* unit = out.data() + at;
      for (size_t i = pos; i < end; ++i, unit += 2) *unit = bytes[i];
      pos = end;
      continue;
    }
    char32_t cp = 0;
    size_t length = DecodeUtf8At(bytes, pos, cp);
    if (length == 0) {
      cp = kEscapeBase + static_cast<unsigned char>(bytes[pos]);
      length = 1;
    }
    if (cp >= 0x10000) {
      cp -= 0x10000;
      AppendUnit(out, 0xD800 + (cp >> 10));
      AppendUnit(out, 0xDC00 + (cp & 0x3FF));
    } else {
      AppendUnit(out, cp);
    }
    pos += length;
  }
}

std::string Utf16LeToUtf8(std::string_view utf16) {
  std::string out;
  out.reserve(utf16.size());
  const size_t units = utf16.size() / 2;
  const auto unit = [&](size_t i) -> char32_t {
    return static_cast<unsigned char>(utf16[2 * i]) |
           (static_cast<char32_t>(static_cast<unsigned char>(utf16[2 * i + 1])) << 8);
  };
  for (size_t i = 0; i < units; ++i) {
    const char32_t u = unit(i);
    if (u >= 0xD800 && u <= 0xDBFF && i + 1 < units && unit(i + 1) >= 0xDC00 &&
        unit(i + 1) <= 0xDFFF) {
      AppendUtf8(out, 0x10000 + ((u - 0xD800) << 10) + (unit(i + 1) - 0xDC00));
      ++i;
    } else if (u >= kEscapeBase + 0x80 && u <= kEscapeBase + 0xFF) {
      out += static_cast<char>(u - kEscapeBase);
    } else {
      AppendUtf8(out, u);  // also a lone surrogate, in its three-byte form
    }
  }
  return out;
}

}  // namespace mi

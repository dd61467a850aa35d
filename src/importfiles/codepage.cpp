#include "importfiles/codepage.h"

#include <cstdint>
#include <cstring>

namespace mi {
namespace {

// Code points of the bytes 0x80 to 0x9F; the unassigned bytes map to
// themselves.
constexpr char16_t kHighControls[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,  // 80-87
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,  // 88-8F
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,  // 90-97
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,  // 98-9F
};

void AppendUtf8(std::string& out, uint32_t code) {
  if (code < 0x80) {
    out.push_back(static_cast<char>(code));
  } else if (code < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (code >> 6)));
    out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xE0 | (code >> 12)));
    out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
  }
}

// The Windows-1252 byte of a code point, or '?' when the code page lacks it.
char ByteOf(uint32_t code) {
  if (code < 0x80 || (code >= 0xA0 && code <= 0xFF)) return static_cast<char>(code);
  for (int i = 0; i < 32; ++i) {
    if (kHighControls[i] == code) return static_cast<char>(0x80 + i);
  }
  return '?';
}

// Decodes one UTF-8 sequence at text[at]; returns its length, or 0 when the
// bytes there do not form a valid (shortest-form, non-surrogate) sequence.
size_t DecodeUtf8(std::string_view text, size_t at, uint32_t& code) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(at);
  size_t length = 0;
  uint32_t minimum = 0;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2, code = lead & 0x1F, minimum = 0x80;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3, code = lead & 0x0F, minimum = 0x800;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4, code = lead & 0x07, minimum = 0x10000;
  } else {
    return 0;
  }
  if (at + length > text.size()) return 0;
  for (size_t i = 1; i < length; ++i) {
    const unsigned char next = byte(at + i);
    if ((next & 0xC0) != 0x80) return 0;
    code = (code << 6) | (next & 0x3F);
  }
  if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return 0;
  return length;
}

}  // namespace

bool IsAscii(std::string_view text) {
  // Eight bytes at a time: the files are mostly plain ASCII.
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

std::string Utf8FromWindows1252(std::string_view bytes) {
  if (IsAscii(bytes)) return std::string(bytes);
  std::string out;
  out.reserve(bytes.size() + bytes.size() / 8);
  for (const char c : bytes) {
    const auto b = static_cast<unsigned char>(c);
    if (b < 0x80) {
      out.push_back(c);
    } else if (b < 0xA0) {
      AppendUtf8(out, kHighControls[b - 0x80]);
    } else {
      AppendUtf8(out, b);
    }
  }
  return out;
}

std::string Windows1252FromUtf8(std::string_view text) {
  if (IsAscii(text)) return std::string(text);
  std::string out;
  out.reserve(text.size());
  size_t at = 0;
  while (at < text.size()) {
    const auto b = static_cast<unsigned char>(text[at]);
    if (b < 0x80) {
      out.push_back(static_cast<char>(b));
      ++at;
      continue;
    }
    uint32_t code = 0;
    const size_t length = DecodeUtf8(text, at, code);
    if (length == 0) {
      out.push_back('?');  // a stray byte: one "?" each, the next byte is read afresh
      ++at;
    } else {
      out.push_back(ByteOf(code));
      at += length;
    }
  }
  return out;
}

}  // namespace mi

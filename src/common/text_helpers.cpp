#include "common/text_helpers.h"

#include <limits>

namespace mi {
namespace {

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

size_t FindNoCase(std::string_view text, std::string_view find) {
  if (find.size() > text.size()) return std::string_view::npos;
  for (size_t i = 0; i + find.size() <= text.size(); ++i) {
    if (EqualsNoCase(text.substr(i, find.size()), find)) return i;
  }
  return std::string_view::npos;
}

}  // namespace

bool BreaksLine(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos;
}

std::string OnOneLine(std::string_view text) {
  std::string line(text);
  for (char& c : line) {
    if (c == '\r' || c == '\n' || c == '\0') c = ' ';
  }
  return line;
}

std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (Lower(a[i]) != Lower(b[i])) return false;
  }
  return true;
}

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && EqualsNoCase(text.substr(0, prefix.size()), prefix);
}

int16_t SplitText(std::string_view text, std::vector<std::string>& parts, char separator) {
  if (text.empty()) return -1;
  parts.clear();
  while (!text.empty()) {
    const size_t at = text.find(separator);
    if (at == std::string_view::npos) {
      parts.emplace_back(text);
      break;
    }
    parts.emplace_back(text.substr(0, at));
    text.remove_prefix(at + 1);
  }
  return static_cast<int16_t>(parts.size() - 1);
}

int16_t ReplaceAll(std::string& text, std::string_view find, std::string_view replacement) {
  if (find.empty() || EqualsNoCase(find, replacement) ||
      FindNoCase(replacement, find) != std::string_view::npos) {
    return 0;
  }
  int count = 0;
  for (size_t at = FindNoCase(text, find); at != std::string_view::npos;
       at = FindNoCase(text, find)) {
    text.replace(at, find.size(), replacement);
    if (count < std::numeric_limits<int16_t>::max()) ++count;
  }
  return static_cast<int16_t>(count);
}

}  // namespace mi

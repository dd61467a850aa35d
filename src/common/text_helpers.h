#pragma once

// Small text routines that several windows and the profile share.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace mi {

// Cuts `text` at each `separator` into `parts` (which then holds exactly the
// pieces, grown one at a time) and returns the index of the last element, or
// -1 for an empty text (then `parts` is left as it is). A separator at the very end gives no empty
// last element; two separators in a row give an empty element.
int16_t SplitText(std::string_view text, std::vector<std::string>& parts, char separator);

// Replaces every occurrence of `find` (compared without regard to case) by
// `replacement`, each search starting again at the beginning; returns the
// number of replacements (capped at the 16-bit range). Nothing happens when
// `replacement` equals `find` without regard to case, or `find` is empty, or
// `replacement` contains `find` (it would never end).
int16_t ReplaceAll(std::string& text, std::string_view find, std::string_view replacement);

// True when `text` holds a CR, LF or NUL.
bool BreaksLine(std::string_view text);

// The text with every CR, LF and NUL replaced by a blank: for text that must
// stay on its one line (an entry of an import file, a status command), from
// sources that may hold anything (a meter's texts, the settings).
std::string OnOneLine(std::string_view text);

// The text without the blanks and tabs at either end.
std::string_view TrimBlanks(std::string_view text);

// Compares two texts without regard to case (ASCII letters).
bool EqualsNoCase(std::string_view a, std::string_view b);
bool StartsWithNoCase(std::string_view text, std::string_view prefix);

}  // namespace mi

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "common/text_encoding.h"
#include "common/text_helpers.h"

namespace mi {
namespace {

using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

// UTF-16 is settings_tool_test.cpp's: its .reg files carry odd bytes there and back.
TEST(TextEncoding, Windows1252ToUtf8AndBack) {
  const std::pair<std::string, std::string> cases[] = {
      {"plain", "plain"},
      {"\x80\x9f", "€Ÿ"},
      {"\xdc\xe4\xdf\xff\xa0", "Üäßÿ\u00a0"},
      {"\x81\x8d\x8f\x90\x9d", "\u0081\u008d\u008f\u0090\u009d"},  // unassigned bytes
  };
  for (const auto& [bytes, text] : cases) {
    EXPECT_EQ(Windows1252ToUtf8(bytes), text);
    EXPECT_EQ(Utf8ToWindows1252(text), bytes);
  }
}

TEST(TextEncoding, WhatWindows1252CannotHoldBecomesAQuestionMark) {
  const std::pair<std::string, std::string> cases[] = {
      {"\u0080", "?"},               // a control with no byte of its own
      {"😀", "?"},                    // four bytes, one character
      {"\xc3(", "?("},               // cut short before ASCII: the ASCII survives
      {"\xc0\xaf", "??"},            // overlong
      {"\xed\xa0\x80", "???"},       // a surrogate
      {"\xf5\x80\x80\x80", "????"},  // beyond U+10FFFF
  };
  for (const auto& [text, bytes] : cases) EXPECT_EQ(Utf8ToWindows1252(text), bytes) << text;
}

TEST(SplitText, CutsAtTheSeparatorAndReturnsTheLastIndex) {
  const std::pair<const char*, std::vector<std::string>> cases[] = {
      {"a|b|", {"a", "b"}},  // a separator at the end gives no empty last element
      {"a||b", {"a", "", "b"}}, {"caption", {"caption"}}, {"|tip", {"", "tip"}}, {"||", {"", ""}},
  };
  for (const auto& [text, expected] : cases) {
    std::vector<std::string> parts;
    EXPECT_EQ(SplitText(text, parts, '|'), static_cast<int16_t>(expected.size() - 1)) << text;
    EXPECT_THAT(parts, ElementsAreArray(expected)) << text;
  }
  std::vector<std::string> parts = {"old"};
  EXPECT_EQ(SplitText("", parts, '|'), -1);
  EXPECT_THAT(parts, ElementsAre("old"));
}

TEST(ReplaceAll, ReplacesWithoutRegardToCaseCountsAndRefusesEndlessReplacements) {
  // The text, what to find, its replacement, the text after and the count.
  const std::tuple<std::string, const char*, const char*, std::string, int16_t> cases[] = {
      {"lL12l", "L", "", "12", 3},  // how a localisation tag loses its letters
      {"Hello HELLO hello", "hello", "bye", "bye bye bye", 3},
      {"aaaa", "aa", "b", "bb", 2},
      {"abc", "x", "y", "abc", 0},
      {"aab", "ab", "b", "b", 2},  // each search starts again at the beginning
      // Replacements that would never end are refused and change nothing.
      {"xaAbcx", "abc", "ABC", "xaAbcx", 0},
      {"xaAbcx", "a", "bAb", "xaAbcx", 0},
      {"xaAbcx", "", "x", "xaAbcx", 0},
  };
  for (const auto& [before, find, replacement, after, count] : cases) {
    std::string text = before;
    EXPECT_EQ(ReplaceAll(text, find, replacement), count) << before << " " << find;
    EXPECT_EQ(text, after) << before << " " << find;
  }
}

}  // namespace
}  // namespace mi

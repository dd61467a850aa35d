#include "common/text_helpers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace mi {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

TEST(SplitText, CutsAtTheSeparatorAndReturnsTheLastIndex) {
  struct Case {
    const char* text;
    std::vector<std::string> parts;
  } cases[] = {
      {"a|b|", {"a", "b"}},  // a separator at the end gives no empty last element
      {"a||b", {"a", "", "b"}}, {"caption", {"caption"}}, {"|tip", {"", "tip"}}, {"||", {"", ""}},
  };
  for (const Case& c : cases) {
    std::vector<std::string> parts;
    EXPECT_EQ(SplitText(c.text, parts, '|'), static_cast<int16_t>(c.parts.size() - 1)) << c.text;
    EXPECT_THAT(parts, ElementsAreArray(c.parts)) << c.text;
  }
  std::vector<std::string> parts = {"old"};
  EXPECT_EQ(SplitText("", parts, '|'), -1);
  EXPECT_THAT(parts, ElementsAre("old"));
}

TEST(ReplaceAll, ReplacesWithoutRegardToCaseCountsAndRefusesEndlessReplacements) {
  struct Case {
    std::string text;
    const char* find;
    const char* replacement;
    std::string expected;
    int16_t count;
  } cases[] = {
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
  for (const Case& c : cases) {
    std::string text = c.text;
    EXPECT_EQ(ReplaceAll(text, c.find, c.replacement), c.count) << c.text << " " << c.find;
    EXPECT_EQ(text, c.expected) << c.text << " " << c.find;
  }
}

}  // namespace
}  // namespace mi

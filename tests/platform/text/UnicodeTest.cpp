// SPDX-License-Identifier: MIT
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/text/Unicode.hpp>

namespace idlewyn::platform {
namespace {

std::vector<std::string> characters(std::string_view text) {
  std::vector<std::string> found;
  forEachCharacter(text, [&](std::string_view character) { found.emplace_back(character); });
  return found;
}

TEST(Unicode, lowersEachCodePointByItsSimpleMapping) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"", ""},
      {"Mixed CASE 09 @[`{", "mixed case 09 @[`{"},
      {"ÄÖÜ ß ÉÀ", "äöü ß éà"},
      {"ΑΣ", "ασ"},      // no rule for the end of a word
      {"ＡＢ", "ａｂ"},  // full width
      {"\u212A", "k"},   // the Kelvin sign
      {"A\xFFZ", "a\xEF\xBF\xBDz"},
      {"A\xE2\x82", "a\xEF\xBF\xBD\xEF\xBF\xBD"},
  };
  for (const auto& [text, expected] : cases)
    EXPECT_EQ(lowercased(text), expected);
}

TEST(Unicode, givesCharactersAsPeopleCountThem) {
  using Characters = std::vector<std::string>;
  const std::pair<std::string_view, Characters> cases[] = {
      {"", {}},
      {"a\r\n\n\r", {"a", "\r\n", "\n", "\r"}},
      {"e\u0301x", {"e\u0301", "x"}},                  // a combining accent
      {"\U0001F468\u200D\U0001F469\u200D\U0001F467!",  // a family of three
       {"\U0001F468\u200D\U0001F469\u200D\U0001F467", "!"}},
      {"\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7",  // two flags
       {"\U0001F1E9\U0001F1EA", "\U0001F1EB\U0001F1F7"}},
      {"\u1100\u1161\u11A8", {"\u1100\u1161\u11A8"}},  // a Hangul syllable
      {"é\xFF\xFE", {"é", "\xFF", "\xFE"}},
  };
  for (const auto& [text, expected] : cases)
    EXPECT_EQ(characters(text), expected) << text;
}

TEST(Unicode, knowsHexadecimalDigitsInBothWidths) {
  for (const auto digit : {"0", "9", "a", "f", "A", "F", "０", "９", "ａ", "ｆ", "Ａ", "Ｆ"}) {
    EXPECT_TRUE(isHexDigit(digit)) << digit;
  }
  for (const auto other : {"", "g", "G", "/", ":", "@", "`", "Ｇ", "ｇ", "／", "：", "00", "٣",
                           "a\u0301", "\xFF", "é"}) {
    EXPECT_FALSE(isHexDigit(other)) << other;
  }
}

TEST(Unicode, findsRightToLeftLetters) {
  for (const auto text : {"a\u05D0", "\u0645", "x \u0661"})
    EXPECT_TRUE(hasRightToLeft(text)) << text;
  for (const auto text : {"", "a - 1", "\u4F60", "\xFF"})
    EXPECT_FALSE(hasRightToLeft(text)) << text;
}

TEST(Unicode, trimsSpacesAndTabsButNoLineBreaks) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"", ""},
      {" \t ", ""},
      {"\t a b ", "a b"},
      {"\u00A0\u2003\u3000x\u202F\u205F", "x"},
      {"\n x \n", "\n x \n"},
      {"\u200Bx", "\u200Bx"},  // a zero-width space is none
      {" \xFF \x80 ", "\xFF \x80"},
  };
  for (const auto& [text, expected] : cases)
    EXPECT_EQ(trimmingSpaces(text), expected) << text;
}

}  // namespace
}  // namespace idlewyn::platform

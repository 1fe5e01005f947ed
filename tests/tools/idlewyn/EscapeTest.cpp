// SPDX-License-Identifier: MIT
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tools/idlewyn/CodePoint.hpp"
#include "tools/idlewyn/Escape.hpp"

namespace idlewyn::command {
namespace {

std::string utf8(char32_t value) {
  if (value < 0x80) return {static_cast<char>(value)};
  std::string text;
  const int more = value < 0x800 ? 1 : value < 0x10000 ? 2 : 3;
  const char32_t lead = more == 1 ? 0xC0 : more == 2 ? 0xE0 : 0xF0;
  text += static_cast<char>(lead | value >> (6 * more));
  for (int i = more - 1; i >= 0; --i)
    text += static_cast<char>(0x80 | (value >> (6 * i) & 0x3F));
  return text;
}

TEST(Escape, WritesOutWhatWouldDeceiveOrNotBeSeen) {
  struct Row {
    std::string given, shown, reason;
  };
  const std::vector<Row> rows{
      {"make test", "make test", "plain text stays"},
      {"naïve 日本 🙂", "naïve 日本 🙂", "so does every visible script"},
      {"a\nb\tc\rd", "a\\nb\\tc\\rd", "line ends can't fake another line"},
      {"\x1b[2J", "\\u{1B}[2J", "no terminal sequence gets through"},
      {std::string("a\0b", 3), "a\\u{00}b", "nor does a zero end the text"},
      {"\x7f\xc2\x9b", "\\u{7F}\\u{9B}", "DEL and the C1 sequence introducer"},
      {"rm \xe2\x80\xae"
       "abc",
       "rm \\u{202E}abc", "a right-to-left override"},
      {"\xf3\xa0\x81\x81", "\\u{E0041}", "a tag letter"},
      {"\\n", "\\\\n", "a backslash can't pass for an escape"},
      {"a\xff"
       "b\xc3",
       "a\\x{FF}b\\x{C3}", "bytes that are not UTF-8, a cut sequence too"},
      {"\xc0\xaf", "\\x{C0}\\x{AF}", "an overlong form is bytes, not a slash"},
      {"\xed\xa0\x80", "\\x{ED}\\x{A0}\\x{80}", "a surrogate is bytes"},
      {"\xf4\x90\x80\x80", "\\x{F4}\\x{90}\\x{80}\\x{80}", "so is what lies beyond U+10FFFF"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(escaped(row.given), row.shown) << row.reason;
}

TEST(Escape, HidesNothingBetweenTheRanges) {
  const std::vector<std::pair<char32_t, char32_t>> hidden{
      {0x00, 0x1F},     {0x7F, 0x9F},       {0xAD, 0xAD},       {0x34F, 0x34F},    {0x61C, 0x61C},
      {0x115F, 0x1160}, {0x17B4, 0x17B5},   {0x180B, 0x180F},   {0x200B, 0x200F},  {0x2028, 0x202E},
      {0x2060, 0x206F}, {0x3164, 0x3164},   {0xFE00, 0xFE0F},   {0xFEFF, 0xFEFF},  {0xFFA0, 0xFFA0},
      {0xFFF9, 0xFFFB}, {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF}};
  for (const auto& [first, last] : hidden) {
    for (char32_t value = first; value <= last; ++value) {
      EXPECT_EQ(escaped(utf8(value)).front(), '\\') << std::hex << static_cast<unsigned>(value);
    }
  }
  for (const char32_t value : {0x20u, 0x7Eu, 0xA0u, 0xACu, 0xAEu, 0x2010u, 0x202Fu, 0x2070u,
                               0xFDFFu, 0xFE10u, 0xFFFCu, 0xE1000u, 0x10FFFFu}) {
    EXPECT_EQ(escaped(utf8(value)), utf8(value)) << std::hex << static_cast<unsigned>(value);
  }
}

TEST(Escape, KeepsJSONTheSameDocument) {
  EXPECT_EQ(escapedJSON("{\"é\\n\":\"\xc2\x9b\x7f\xe2\x80\xae\xf3\xa0\x80\x81日🙂\"}"),
            "{\"é\\n\":\"\\u009B\\u007F\\u202E\\uDB40\\uDC01日🙂\"}");
}

TEST(DisplayWidth, CountsColumnsAndNotBytes) {
  struct Row {
    std::string text;
    std::size_t width;
    std::string reason;
  };
  const std::vector<Row> rows{
      {"", 0, "nothing"},
      {"naïve", 5, "two bytes, one column"},
      {"nai\xcc\x88ve", 5, "a combining mark has no column"},
      {"日本語", 6, "wide characters"},
      {"ＡＢ", 4, "full-width forms"},
      {"🙂", 2, "emoji"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(displayWidth(row.text), row.width) << row.reason;
}

}  // namespace
}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "tools/idlewyn/DisplayWidth.hpp"
#include "tools/idlewyn/Escape.hpp"

namespace idlewyn::command {
namespace {

// Which characters are hidden, and that nothing is lost, is tried by fuzzing.
TEST(Escape, WritesOutWhatWouldDeceiveOrNotBeSeen) {
  const std::tuple<std::string, std::string, const char*> rows[] = {
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
      {"\xc0\xaf\xed\xa0\x80", "\\x{C0}\\x{AF}\\x{ED}\\x{A0}\\x{80}", "overlong, a surrogate"},
  };
  for (const auto& [given, shown, reason] : rows)
    EXPECT_EQ(escaped(given), shown) << reason;
}

TEST(Escape, KeepsJSONTheSameDocument) {
  EXPECT_EQ(escapedJSON("{\"é\\n\":\"\xc2\x9b\x7f\xe2\x80\xae\xf3\xa0\x80\x81日🙂\"}"),
            "{\"é\\n\":\"\\u009B\\u007F\\u202E\\uDB40\\uDC01日🙂\"}");
}

TEST(DisplayWidth, CountsColumnsAndNotBytes) {
  const std::tuple<const char*, std::size_t, const char*> rows[] = {
      {"", 0, "nothing"},
      {"naïve", 5, "two bytes, one column"},
      {"nai\xcc\x88ve", 5, "a combining mark has no column"},
      {"日本語", 6, "wide characters"},
      {"ＡＢ", 4, "full-width forms"},
      {"🙂⏳❌⭐⬛", 10, "emoji, of all blocks"},
      {"\U0001FAE9", 2, "also one that is newer than the library that knows them"},
      {"का", 2, "a mark that stands beside its letter"},
  };
  for (const auto& [text, width, reason] : rows)
    EXPECT_EQ(displayWidth(text), width) << reason;
}

}  // namespace
}  // namespace idlewyn::command

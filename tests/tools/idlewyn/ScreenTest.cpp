// SPDX-License-Identifier: MIT
#include "tools/idlewyn/Screen.hpp"

#include <gtest/gtest.h>

namespace idlewyn::command {
namespace {

TEST(Screen, BreaksTextIntoRowsThatFitWithoutLosingAnything) {
  struct Row {
    std::string text;
    std::size_t columns;
    std::vector<std::string> rows;
    std::string reason;
  };
  const std::vector<Row> table{
      {"", 10, {""}, "an empty line is a row"},
      {"a\n\nb", 10, {"a", "", "b"}, "so is one in the midst"},
      {"abcdef", 3, {"abc", "def"}, "just full rows have no empty one behind"},
      {"abcd", 3, {"abc", "d"}, "the rest goes on below"},
      {"日本語", 5, {"日本", "語"}, "wide characters are not cut in half"},
      {"日本", 1, {"日", "本"}, "narrower than one character: nothing is dropped, nothing hangs"},
      {"\x1b[31mabc\x1b[0mdef", 3, {"\x1b[31mabc\x1b[0m", "def"}, "colours take no room"},
      {"\x1b[31", 2, {"\x1b[", "31"}, "what is no code is text"},
      {"abc", 0, {"a", "b", "c"}, "a terminal of no width"},
  };
  for (const Row& row : table)
    EXPECT_EQ(rowsOf(row.text, row.columns), row.rows) << row.reason;
  EXPECT_EQ(widthOfRow("\x1b[1;33mab日\x1b[0m"), 4u);
}

}  // namespace
}  // namespace idlewyn::command

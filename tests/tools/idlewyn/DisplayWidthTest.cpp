// SPDX-License-Identifier: MIT
#include <tuple>

#include <gtest/gtest.h>

#include <tools/idlewyn/terminal/DisplayWidth.hpp>

namespace idlewyn::command {
namespace {

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

// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/text/LogicalOrder.hpp>

#include <string>
#include <tuple>

#include <gtest/gtest.h>

namespace idlewyn::platform {
namespace {

TEST(LogicalOrder, IsolatesWordsAndKeepsOptionsWhole) {
  const std::tuple<std::string, std::string, const char*> rows[] = {
      {"cat a/b", "cat a/b", "nothing to do"},
      {"a/\u05D0\u05D1/\u05D2 b", "\u200Ea/\u2068\u05D0\u05D1\u2069/\u2068\u05D2\u2069 b",
       "folders"},
      {"\u0645\u064E1", "\u200E\u2068\u0645\u064E\u20691",
       "marks belong to their letter, digits do not"},
      {"a\n\u05D0\nb", "a\n\u200E\u2068\u05D0\u2069\nb", "each line by itself"},
      {"-- --force -", "-\u2060- -\u2060-\u2060force -", "options"},
  };
  for (const auto& [text, drawn, reason] : rows)
    EXPECT_EQ(textInLogicalOrder(text, true), drawn) << reason;
  EXPECT_EQ(textInLogicalOrder("--force", false), "--force") << "where nothing is broken";
}

}  // namespace
}  // namespace idlewyn::platform

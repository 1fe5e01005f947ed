// SPDX-License-Identifier: MIT
#include <sstream>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/coding/internal/WideNumbers.hpp>

#include "Records.hpp"

namespace idlewyn::platform {
namespace {

using namespace std::literals;
using namespace test;

std::string nested(std::size_t depth, const char* innermost = "") {
  return std::string(depth, '[') + innermost + std::string(depth, ']');
}

/// Whether it is read; else it is refused whole.
bool isDocument(std::string_view text) {
  try {
    return PlainJSONDecoder().decode<Point>(text).x == 1;
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.kind, DecodingError::Kind::dataCorrupted);
    EXPECT_TRUE(error.codingPath.empty());
    return false;
  }
}

/// What the decoder says of a text that it refuses.
std::string refusalOf(std::string_view text) {
  try {
    PlainJSONDecoder().decode<Point>(text);
  } catch (const DecodingError& error) {
    return error.what();
  }
  return "";
}

/// Whether the decoder takes it as the value of a key that nobody reads.
bool isIgnored(std::string_view value) {
  return isDocument(R"({"x":1,"other":)" + std::string(value) + "}");
}

TEST(JSONDocument, isRefusedWholeWhenItIsNoJSON) {
  const std::pair<std::string, const char*> cases[] = {
      {"", "nothing"},
      {"\xEF\xBB\xBF{\"x\":1}", "a byte-order mark"},
      {"{\0\"\0x\0\"\0:\0001\0}\0"s, "UTF-16"},
      {"{\"x\":1", "cut"},
      {"{\"x\":1} {}", "a second document"},
      {"{\"x\":1}\0"s, "a zero byte behind"},
      {"{\"x\":1,\"o\":\"\xFF\"}", "no UTF-8 in a value that is ignored"},
      {"{\"x\":1,\"o\":\"\xED\xA0\x80\"}", "a surrogate as UTF-8"},
      {"{\"x\":1,\"o\":\"\n\"}", "a line break in a text"},
  };
  for (const auto& [text, reason] : cases)
    EXPECT_FALSE(isDocument(text)) << reason;
}

TEST(JSONDocument, isCheckedInPartsThatNobodyReads) {
  const std::string digits(400, '9'), zeroes(400, '0');
  for (const std::string& good :
       {"-0.0e+0"s, "null"s, "{}"s, R"("\ud83d\ude00\b\f\/")"s, "[[1],{\"a\":{}}]"s, "1e-999"s,
        "18446744073709551616"s, "-9223372036854775809"s, "1E+99999999999999999999"s, digits + ".5",
        "0." + zeroes + "1e500", digits + "e-300", "[1,18446744073709551616]"s}) {
    EXPECT_TRUE(isIgnored(good)) << good;
  }
  // One a word.
  std::istringstream bad(
      "tru 01 - +1 1. .5 1e 1e+ 0x1 NaN Infinity [1,] {\"a\"} {1:2} [1]2 1e309x 01e309 1.e309 "
      R"(-e309 1e309. "\x" "\u12" "\ud800" "\udc00" "\ud800\u0041")");
  for (std::string word; bad >> word;)
    EXPECT_FALSE(isIgnored(word)) << word;
  EXPECT_FALSE(isIgnored(""));
  EXPECT_FALSE(isIgnored("1e309 1"));
}

TEST(JSONDocument, mayBeNestedAThousandDeepAndNoMore) {
  // The object that holds them is a level too.
  for (const char* innermost : {"", "1", "1e999", "\"[[\\\"[[\""}) {
    EXPECT_TRUE(isIgnored(nested(1023, innermost))) << innermost;
    EXPECT_FALSE(isIgnored(nested(1024, innermost))) << innermost;
  }
  EXPECT_FALSE(isIgnored(nested(2'000'000)));
}

TEST(JSONDocument, isNotCalledTooDeepForClosingBracketsThatNothingOpened) {
  const std::string noJSON = refusalOf("[");
  EXPECT_NE(noJSON, refusalOf(nested(2000)));
  // The wide number makes the decoder count levels.
  for (const char* text : {"{\"x\":1e999}]]", "{\"x\":1e999}}}[", "[1e999]]]{{", "1e999]}["})
    EXPECT_EQ(refusalOf(text), noJSON) << text;
}

TEST(JSONDocument, isRewrittenOnlyWhereANumberIsTooWide) {
  const std::pair<std::string, std::string> cases[] = {
      {"18446744073709551615", "18446744073709551615"},
      {"18446744073709551616", "18446744073709551616e0"},
      {"-9223372036854775808", "-9223372036854775808"},
      {"-9223372036854775809", "-9223372036854775809e0"},
      {"1e-400", "1e-400"},
      {"0e999", "0e999"},
      {"0.01e311", "-1.7976931348623157e308"},
      {"0.01e-400", "0.01e-400"},
      {R"(["1e309","\"1e309",1e309,"\\"])", R"(["1e309","\"1e309",-1.7976931348623157e308,"\\"])"},
      {R"("1e309)", R"("1e309)"},
      {R"("\)", R"("\)"},
  };
  for (const auto& [text, expected] : cases)
    EXPECT_EQ(internal::narrowingNumbers(text), expected);
  const auto read = [](std::string_view text) {
    return PlainJSONDecoder().decode<std::vector<double>>(text);
  };
  EXPECT_EQ(read("[18446744073709551616,-9223372036854775809,1e-999]"),
            (std::vector<double>{0x1p64, -0x1p63, 0}));
  EXPECT_EQ(read("[-1.7976931348623157e308]"), std::vector{internal::beyondDouble});
}

TEST(JSONDocument, leavesNothingBehindForTheNextOne) {
  const PlainJSONDecoder decoder;
  const std::string large = "[\"" + std::string(6'000'000, 'x') + "\",\"y\"]";
  const auto first = decoder.decode<std::vector<std::string>>(large);
  EXPECT_THROW(decoder.decode<std::vector<std::string>>(std::string_view("[\"a\",")),
               DecodingError);
  const auto second = decoder.decode<std::vector<std::string>>(std::string_view("[\"b\"]"));
  EXPECT_EQ(first.at(0).size(), 6'000'000u);
  EXPECT_EQ(first.at(1), "y");
  EXPECT_EQ(second, std::vector<std::string>{"b"});
}

}  // namespace
}  // namespace idlewyn::platform

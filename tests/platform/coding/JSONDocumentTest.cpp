// SPDX-License-Identifier: MIT
#include <sstream>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/coding/WideNumbers.hpp>

#include "Records.hpp"

namespace idlewyn::platform {
namespace {

using namespace std::literals;
using namespace test;

std::string nested(std::size_t depth, const char* innermost = "") {
  return std::string(depth, '[') + innermost + std::string(depth, ']');
}

/// Whether the decoder takes the document as the value of a key that it ignores.
bool isIgnored(std::string_view value) {
  try {
    return JSONDecoder().decode<Point>(R"({"x":1,"other":)" + std::string(value) + "}").x == 1;
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.kind, DecodingError::Kind::dataCorrupted);
    EXPECT_TRUE(error.codingPath.empty());
    return false;
  }
}

TEST(JSONDocument, isRefusedWholeWhenItIsNoJSON) {
  const std::pair<std::string, const char*> cases[] = {
      {"", "nothing"},
      {"\xEF\xBB\xBF{\"x\":1}", "a byte-order mark"},
      {"{\0\"\0x\0\"\0:\0001\0}\0"s, "UTF-16"},
      {"{\"x\":1", "cut"},
      {"{\"x\":1} {}", "a second document"},
      {"{'x':1}", "single quotes"},
      {"{x:1}", "no quotes"},
      {"{\"x\":1}\0"s, "a zero byte behind"},
      {"{\"x\":1,\"o\":\"\xFF\"}", "no UTF-8 in a value that is ignored"},
      {"{\"x\":1,\"o\":\"\xED\xA0\x80\"}", "a surrogate as UTF-8"},
      {"{\"x\":1,\"o\":\"\n\"}", "a line break in a text"},
  };
  for (const auto& [text, reason] : cases) {
    try {
      JSONDecoder().decode<Point>(text);
      ADD_FAILURE() << reason;
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.kind, DecodingError::Kind::dataCorrupted) << reason;
      EXPECT_TRUE(error.codingPath.empty()) << reason;
    }
  }
}

TEST(JSONDocument, isCheckedInPartsThatNobodyReads) {
  for (const auto good : {"0", "-0", "-0.0e+0", "null", "[]", "{}", R"("\ud83d\ude00\b\f\/")",
                          "[[1],{\"a\":{}}]", "1e-999"}) {
    EXPECT_TRUE(isIgnored(good)) << good;
  }
  // One a word.
  std::istringstream bad(
      "tru 01 - +1 1. .5 1e 1e+ 0x1 NaN Infinity [1,] {\"a\"} {1:2} [1]2 "
      R"("\x" "\u12" "\ud800" "\udc00" "\ud800\u0041")");
  for (std::string word; bad >> word;)
    EXPECT_FALSE(isIgnored(word)) << word;
  EXPECT_FALSE(isIgnored(""));
}

TEST(JSONDocument, mayBeNestedAThousandDeepAndNoMore) {
  // The object that holds them is a level too.
  for (const char* innermost : {"", "1", "1e999", "\"[[\\\"[[\""}) {
    EXPECT_TRUE(isIgnored(nested(1023, innermost))) << innermost;
    EXPECT_FALSE(isIgnored(nested(1024, innermost))) << innermost;
  }
  EXPECT_FALSE(isIgnored(nested(2'000'000)));
}

TEST(JSONDocument, mayHoldNumbersOfAnySizeWhereNobodyReadsThem) {
  const std::string digits(400, '9');
  const std::string cases[] = {
      "18446744073709551616",
      "-9223372036854775809",
      "1e309",
      "1E+99999999999999999999",
      digits + ".5",
      "0." + digits + "e400",
      "0." + std::string(400, '0') + "1e500",
      digits + "e-300",
      "[1,18446744073709551616]",
  };
  for (const std::string& text : cases)
    EXPECT_TRUE(isIgnored(text)) << text;
  for (const std::string& text :
       {"1e309x"s, "01e309"s, "1.e309"s, "-e309"s, "1e309 1"s, "1e309."s}) {
    EXPECT_FALSE(isIgnored(text)) << text;
  }
}

TEST(JSONDocument, isRewrittenOnlyWhereANumberIsTooWide) {
  const std::pair<std::string, std::string> cases[] = {
      {"18446744073709551615", "18446744073709551615"},
      {"18446744073709551616", "18446744073709551616e0"},
      {"-9223372036854775808", "-9223372036854775808"},
      {"-9223372036854775809", "-9223372036854775809e0"},
      {"1e-400", "1e-400"},
      {"0." + std::string(400, '0') + "1", "0." + std::string(400, '0') + "1"},
      {"0e999", "0e999"},
      {"1e309", "-1.7976931348623157e308"},
      {R"(["1e309","\"1e309",1e309,"\\"])", R"(["1e309","\"1e309",-1.7976931348623157e308,"\\"])"},
      {R"("1e309)", R"("1e309)"},
      {R"("\)", R"("\)"},
  };
  for (const auto& [text, expected] : cases)
    EXPECT_EQ(narrowingNumbers(text), expected);
}

TEST(JSONDocument, readsWideNumbersIntoTheFieldsThatHoldThem) {
  const JSONDecoder decoder;
  EXPECT_EQ(decoder.decode<std::vector<double>>(
                std::string_view("[18446744073709551616,-9223372036854775809,1e-999]")),
            (std::vector<double>{0x1p64, -0x1p63, 0}));
  const std::string_view largest = "[-1.7976931348623157e308]";
  EXPECT_EQ(decoder.decode<std::vector<double>>(largest).at(0), beyondDouble);
}

TEST(JSONDocument, isReadInPlaceWhenThereIsRoomBehindIt) {
  std::string list = "[";
  for (int i = 0; i < 5000; ++i)
    list += R"({"x":)" + std::to_string(i) + R"(,"y":null},)";
  list.back() = ']';
  Data roomy = Data::ofText(list);
  roomy.storage.reserve(list.size() + 64);
  Data tight = Data::ofText(list);
  tight.storage.shrink_to_fit();
  const auto points = JSONDecoder().decode<std::vector<Point>>(roomy);
  ASSERT_EQ(points.size(), 5000u);
  EXPECT_EQ(points[4999], Point(4999, {}));
  EXPECT_EQ(JSONDecoder().decode<std::vector<Point>>(tight), points);
  EXPECT_EQ(roomy.text(), list);
}

TEST(JSONDocument, leavesNothingBehindForTheNextOne) {
  const JSONDecoder decoder;
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

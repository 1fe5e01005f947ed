// SPDX-License-Identifier: MIT
#include <bit>
#include <cmath>
#include <limits>
#include <map>
#include <random>

#include <gtest/gtest.h>

#include "Records.hpp"

namespace idlewyn::platform {
namespace {

using namespace std::literals;
using namespace test;

constexpr double infinity = std::numeric_limits<double>::infinity();

template <class T>
std::string encoded(const T& value) {
  return PlainJSONEncoder().encode(value).storage;
}

TEST(PlainJSONEncoder, writesFieldsInDeclarationOrderAndLeavesEmptyOnesOut) {
  EXPECT_EQ(encoded(PlainJSONDecoder().decode<Everything>(complete)), complete);
  const std::string minimal = std::string(complete.substr(0, complete.find(",\"note\""))) + "}";
  EXPECT_EQ(encoded(PlainJSONDecoder().decode<Everything>(minimal)), minimal);
  EXPECT_EQ(encoded(std::vector{Point(1, {}), Point(2, 3)}), R"([{"x":1},{"x":2,"y":3}])");
  EXPECT_EQ(encoded(std::vector<Point>{}), "[]");
  using Map = std::map<std::string, std::string>;
  EXPECT_EQ(encoded(Map{}), "{}");
  EXPECT_EQ(encoded(Map{{"b\"", "2"}, {"a", "1\n"}}), R"({"a":"1\n","b\"":"2"})");
}

TEST(PlainJSONEncoder, escapesWhatMustBeAndNothingElse) {
  struct Case {
    std::string text, json;
  };
  const Case cases[] = {
      {"", R"("")"},
      {"plain / text of more than eight bytes <&>'",
       R"("plain / text of more than eight bytes <&>'")"},
      {"\"\\\b\f\n\r\t", R"("\"\\\b\f\n\r\t")"},
      {"\0\x01\x1F\x7F"s, "\"\\u0000\\u0001\\u001f\x7F\""},
      {"\u00E9\u2028\U0001F600", "\"\u00E9\u2028\U0001F600\""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(encoded(c.text), c.json);
    EXPECT_EQ(PlainJSONDecoder().decode<std::string>(c.json), c.text);
  }
  // Each byte at each place of a word of eight.
  for (int byte = 0; byte < 0x80; ++byte) {
    for (std::size_t place = 0; place < 20; ++place) {
      std::string text(20, 'm');
      text[place] = static_cast<char>(byte);
      ASSERT_EQ(PlainJSONDecoder().decode<std::string>(PlainJSONEncoder().encode(text)), text)
          << byte;
    }
  }
}

TEST(PlainJSONEncoder, writesTheShortestNumberThatReadsBack) {
  const std::pair<double, std::string> cases[] = {
      {0, "0"},
      {-0.0, "-0.0"},
      {0.1, "0.1"},
      {0.00001, "0.00001"},
      {1e300, "1e+300"},
      {5e-324, "5e-324"},
      {std::numeric_limits<double>::max(), "1.7976931348623157e+308"},
  };
  for (const auto& [value, text] : cases)
    EXPECT_EQ(encoded(value), text);
  std::mt19937_64 random(11);
  for (int i = 0; i < 200'000; ++i) {
    const double value = std::bit_cast<double>(random());
    if (!std::isfinite(value)) continue;
    const double back = PlainJSONDecoder().decode<double>(PlainJSONEncoder().encode(value));
    ASSERT_EQ(std::bit_cast<std::uint64_t>(back), std::bit_cast<std::uint64_t>(value)) << value;
  }
  EXPECT_EQ(encoded(INT64_MIN), "-9223372036854775808");
  EXPECT_EQ(encoded(INT64_MAX), "9223372036854775807");
}

TEST(PlainJSONEncoder, writesAListThatBeginsUnlikeTheRestWholeAndSetsLittleAside) {
  std::vector<std::string> texts(16, std::string(100'000, 'x'));
  texts.resize(50'000, "y");
  const Data json = PlainJSONEncoder().encode(texts);
  EXPECT_LT(json.storage.capacity(), json.size() + (4u << 20));
  EXPECT_EQ(PlainJSONDecoder().decode<std::vector<std::string>>(json), texts);
}

TEST(PlainJSONEncoder, refusesWhatJSONCannotHoldAndSaysWhere) {
  auto value = PlainJSONDecoder().decode<Everything>(complete);
  const auto fault = [](const auto& v) -> std::string {
    try {
      PlainJSONEncoder().encode(v);
      return "none";
    } catch (const EncodingError& error) {
      const std::string path = pathText(error.codingPath);
      EXPECT_NE(std::string(error.what()).find(path, error.description.size()), std::string::npos);
      return path;
    }
  };
  value.words->at(1) = "more than eight \xFF";
  EXPECT_EQ(fault(value), "words[1]");
  value.note = "\xC3";
  EXPECT_EQ(fault(value), "note");
  value.ratio = infinity;
  EXPECT_EQ(fault(value), "ratio");
  value.ratio = 0;
  value.mood = static_cast<Mood>(-1);
  EXPECT_EQ(fault(value), "mood");
  value.colour = static_cast<Colour>(77);
  EXPECT_EQ(fault(value), "colour");
  EXPECT_EQ(rawValue(value.colour), "");
  EXPECT_EQ(fault(std::vector{1.0, std::nan("")}), "[1]");
  EXPECT_EQ(fault(dateFromReferenceSeconds(-infinity)), "");
  EXPECT_EQ(fault(std::map<std::string, std::string>{{"k", "\xED\xA0\x80"}}), "k");
}

}  // namespace
}  // namespace idlewyn::platform

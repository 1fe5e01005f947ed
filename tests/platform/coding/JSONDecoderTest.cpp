// SPDX-License-Identifier: MIT
#include <stdexcept>

#include <gtest/gtest.h>

#include "Records.hpp"

namespace idlewyn::platform {
namespace {

using namespace test;
using Kind = DecodingError::Kind;

/// The complete document with one piece of text put in the place of another.
std::string with(std::string_view piece, std::string_view replacement) {
  std::string text(complete);
  const auto at = text.find(piece);
  EXPECT_NE(at, std::string::npos) << piece;
  return text.replace(at, piece.size(), replacement);
}

TEST(PlainJSONDecoder, readsEveryKindOfField) {
  const auto value = PlainJSONDecoder().decode<Everything>(complete);
  EXPECT_EQ(value.name, "n");
  EXPECT_EQ(value.count, 7);
  EXPECT_EQ(value.mood, Mood::bad);
  EXPECT_EQ(value.at, dateFromReferenceSeconds(9.25));
  EXPECT_EQ(value.until, dateFromReferenceSeconds(-60));
  EXPECT_EQ(PlainJSONDecoder().decode<std::vector<Everything>>("[" + std::string(complete) + "]"),
            std::vector{value});
}

TEST(PlainJSONDecoder, readsTheSameRecordWhateverTheTextsForm) {
  const std::string cases[] = {
      with("{\"name\"", " { \"other\" : [1,{\"name\":2}], \"name\""),  // unknown keys
      with("\"name\"", "\"n\\u0061me\""),                              // an escaped key
      with("\"name\":\"n\",", "\"name\":\"n\",\"name\":5,"),           // the first of two counts
      with("\"count\":7", "\"count\":7.0"),                            // an integral number
      with("\"count\":7", "\"count\":0.7e1"),
      with("\"ratio\":0.5", "\"ratio\":5e-1"),
      with("\"x\":3}", "\"x\":3,\"y\":null,\"y\":1}"),  // null counts as the first
      with("\"name\":\"n\",", "").insert(complete.size() - 12, ",\"name\":\"n\""),  // last
      with("{\"name\"", "{\"\":1,\"nam\":1,\"names\":1,\"Name\":1,\"name\""),
  };
  const auto expected = PlainJSONDecoder().decode<Everything>(complete);
  for (const std::string& text : cases)
    EXPECT_EQ(PlainJSONDecoder().decode<Everything>(text), expected) << text;
  EXPECT_EQ(PlainJSONDecoder().decode<Everything>(with("\"bad\"", "\"furious\"")).mood,
            Mood::unknown);
}

TEST(PlainJSONDecoder, namesKindAndPlaceOfTheFirstFault) {
  struct Case {
    std::string text;
    Kind kind;
    std::string path;
    std::string description;
  };
  const auto mismatch = Kind::typeMismatch;
  const auto corrupted = Kind::dataCorrupted;
  const Case cases[] = {
      {"[]", mismatch, "", "Expected an object but found a list."},
      {"null", Kind::valueNotFound, "", "Expected an object but found null."},
      {with("\"name\":\"n\",", ""), Kind::keyNotFound, "", "No value for the key \"name\"."},
      {with("\"n\"", "null"), Kind::valueNotFound, "name", "Expected a text but found null."},
      {with("\"n\"", "1"), mismatch, "name", "Expected a text but found a number."},
      {with("7", "\"7\""), mismatch, "count", "Expected a number but found a text."},
      {with("7", "5.5"), corrupted, "count", "The number 5.5 is no 64-bit integer."},
      {with("7", "9223372036854775808"), corrupted, "count", ""},
      {with("0.5", "1e999"), corrupted, "ratio", "The number is too large."},
      {with("true", "1"), mismatch, "isOn", "Expected a boolean but found a number."},
      {with("9.25", "null"), Kind::valueNotFound, "at", "Expected a number but found null."},
      {with("9.25", "\"9\""), mismatch, "at", "Expected a number but found a text."},
      {with("https://h/p", "h h"), corrupted, "link", "Invalid URL string."},
      {with("green", "Green"), corrupted, "colour", "Colour has no case \"Green\"."},
      {with("{\"x\":4", "{\"x\":[]"), mismatch, "points[1].x", ""},
      {with("[{\"x\":3},", "[null,"), Kind::valueNotFound, "points[0]", ""},
      {with("\"x\":5", "\"x\":{}"), mismatch, "second.x", "Expected a number but found an object."},
      {with("\"x\":1,\"y\":2", "\"y\":\"\",\"x\":\"\""), mismatch, "origin.x", ""},
      {R"({"at":"bad","name":"n","count":"7"})", mismatch, "count", ""},  // as declared
      {with("\"/\"", "\"\\\\\""), corrupted, "home", "Invalid URL string."},
  };
  for (const Case& c : cases) {
    try {
      PlainJSONDecoder().decode<Everything>(c.text);
      ADD_FAILURE() << "no error for " << c.text;
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.kind, c.kind) << c.text;
      EXPECT_EQ(pathText(error.codingPath), c.path) << c.text;
      EXPECT_TRUE(c.description.empty() || c.description == error.description) << error.what();
      EXPECT_EQ(error.missingKey.empty(), c.kind != Kind::keyNotFound) << c.text;
    }
  }
}

TEST(PlainJSONDecoder, readsSingleValues) {
  const PlainJSONDecoder decoder;
  EXPECT_EQ(decoder.decode<std::string>(std::string_view(R"("a\n\"\u00e9\ud83d\ude00\/")")),
            "a\n\"\u00E9\U0001F600/");
  EXPECT_EQ(decoder.decode<std::int64_t>(std::string_view("-9223372036854775808")), INT64_MIN);
  EXPECT_EQ(decoder.decode<double>(std::string_view("9223372036854775809")), 0x1p63);
  EXPECT_EQ(decoder.decode<Date>(std::string_view("-0.5")), dateFromReferenceSeconds(-0.5));
}

TEST(PlainJSONDecoder, tellsKeysApartThatItsTableDoesNot) {
  const auto alike = PlainJSONDecoder().decode<Alike>(
      std::string_view(R"({"sameHeadBsameTail":2,"sameHeadCsameTail":3,"sameHeadAsameTail":1})"));
  EXPECT_EQ(alike.first, 1);
  EXPECT_EQ(alike.second, 2);
}

TEST(PlainJSONDecoder, givesADateStrategyItsValueAndItsPlace) {
  PlainJSONDecoder decoder;
  decoder.dateDecodingStrategy = [](const SingleValue& value) {
    if (value.number() < 0) throw value.dataCorrupted(pathText(value.codingPath()) + "!");
    return dateFromSecondsSince1970(value.number());
  };
  EXPECT_EQ(decoder.decode<std::vector<Date>>(std::string_view("[978307201,978307201.5]")),
            (std::vector{dateFromReferenceSeconds(1), dateFromReferenceSeconds(1.5)}));
  const std::pair<std::string_view, const char*> errors[] = {
      {"[[],[1,-1]]", "[1][1]! (at [1][1])"},
      {"[[1,\"x\"]]", "Expected a number but found a text. (at [0][1])"},
      {"[[null]]", "Expected a date but found null. (at [0][0])"},
  };
  for (const auto& [text, expected] : errors) {
    try {
      decoder.decode<std::vector<std::vector<Date>>>(text);
      ADD_FAILURE() << text;
    } catch (const DecodingError& error) {
      EXPECT_STREQ(error.what(), expected);
    }
  }

  // A strategy may decode and throw what it wants.
  decoder.dateDecodingStrategy = [](const SingleValue& value) {
    return PlainJSONDecoder().decode<Date>(value.text());
  };
  EXPECT_EQ(decoder.decode<std::vector<Date>>(std::string_view(R"(["1","2"])")),
            (std::vector{dateFromReferenceSeconds(1), dateFromReferenceSeconds(2)}));
  decoder.dateDecodingStrategy = [](const SingleValue&) -> Date { throw std::out_of_range("own"); };
  EXPECT_THROW(decoder.decode<Date>(std::string_view("1")), std::out_of_range);
}

}  // namespace
}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <IdlewynKit/platform/base/Base64.hpp>
#include <IdlewynKit/platform/base/Data.hpp>
#include <IdlewynKit/platform/base/Hexadecimal.hpp>
#include <IdlewynKit/platform/base/UTF8.hpp>

namespace idlewyn::platform {
namespace {

using namespace std::literals;

TEST(Hexadecimal, writesTwoLowerCaseDigitsAByte) {
  EXPECT_EQ(hexadecimal(Data{}.bytes()), "");
  EXPECT_EQ(hexadecimal(Data{0x00, 0xAB, 0x0F, 0xFF}.bytes()), "00ab0fff");
}

TEST(Base64, decodesTheStandardAlphabetAndRefusesEverythingElse) {
  struct Case {
    std::string_view text;
    std::optional<std::string> bytes;
    const char* reason;
  };
  const Case cases[] = {
      {"Zg==", "f", "one byte"},
      {"Zm8=", "fo", "two bytes"},
      {"Zm9v", "foo", "three bytes"},
      {"+/+/", "\xFB\xFF\xBF", "both characters that are no letters or digits"},
      {"AAAA", "\0\0\0"s, "zero bytes"},
      {"Zh==", "f", "unused bits are not examined"},
      {"Zg", std::nullopt, "padding is missing"},
      {"Zg===", std::nullopt, "too much padding"},
      {"====", std::nullopt, "nothing but padding"},
      {"Zg==Zg==", std::nullopt, "padding within"},
      {"Z=g=", std::nullopt, "padding before a character"},
      {"Zm9v\n", std::nullopt, "a line break"},
      {"-_-_", std::nullopt, "the alphabet for URLs"},
      {"Zm9\xC3", std::nullopt, "no ASCII"},
  };
  for (const Case& c : cases) {
    const auto data = decodeBase64(c.text);
    ASSERT_EQ(data.has_value(), c.bytes.has_value()) << c.reason;
    EXPECT_TRUE(!data || data->storage == *c.bytes) << c.reason;
  }
}

TEST(UTF8, isWellFormedByTheStandardsTable) {
  struct Case {
    std::string_view text;
    bool isValid;
    const char* reason;
  };
  const Case cases[] = {
      {"plain text of more than eight bytes", true, "ASCII"},
      {"\0"sv, true, "a zero byte is a character"},
      {"\xC2\x80 \xDF\xBF", true, "ends of two bytes"},
      {"\xE0\xA0\x80 \xED\x9F\xBF \xEE\x80\x80 \xEF\xBF\xBF", true, "ends of three bytes"},
      {"\xF0\x90\x80\x80 \xF4\x8F\xBF\xBF", true, "ends of four bytes"},
      {"\x80", false, "a continuation alone"},
      {"\xC0\x80", false, "zero in two bytes"},
      {"\xC1\xBF", false, "overlong, two bytes"},
      {"\xE0\x9F\xBF", false, "overlong, three bytes"},
      {"\xF0\x8F\xBF\xBF", false, "overlong, four bytes"},
      {"\xED\xA0\x80", false, "a surrogate"},
      {"\xF4\x90\x80\x80", false, "beyond the last code point"},
      {"\xF5\x80\x80\x80", false, "a byte that never stands"},
      {"12345678\xC3", false, "cut after eight plain bytes"},
      {"\xE2\x82", false, "cut, three bytes"},
      {"\xC3\xA9\xC3", false, "cut after a good one"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(isValidUTF8(c.text), c.isValid) << c.reason;
}

}  // namespace
}  // namespace idlewyn::platform

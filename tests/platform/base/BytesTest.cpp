// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <IdlewynKit/platform/base/Base64.hpp>
#include <IdlewynKit/platform/base/UTF8.hpp>

namespace idlewyn::platform {
namespace {

using namespace std::literals;

TEST(Base64, decodesTheStandardAlphabetAndRefusesEverythingElse) {
  const std::tuple<std::string_view, std::optional<std::string>, const char*> cases[] = {
      {"Zg==", "f", "one byte"},
      {"Zm8=", "fo", "two bytes"},
      {"Zm9v", "foo", "three bytes"},
      {"+/+/", "\xFB\xFF\xBF", "both characters that are no letters or digits"},
      {"AAAA", "\0\0\0"s, "zero bytes"},
      {"Zh==", "f", "unused bits are not examined"},
      {"Zg", std::nullopt, "padding is missing"},
      {"====", std::nullopt, "nothing but padding"},
      {"Z=g=", std::nullopt, "padding before a character"},
      {"Zm9v\n", std::nullopt, "a line break"},
      {"-_-_", std::nullopt, "the alphabet for URLs"},
      {"Zm9\xC3", std::nullopt, "no ASCII"},
  };
  for (const auto& [text, bytes, reason] : cases) {
    const auto data = decodeBase64(text);
    EXPECT_EQ(data ? std::optional(data->storage) : std::nullopt, bytes) << reason;
  }
}

TEST(UTF8, isWellFormedByTheStandardsTable) {
  const std::tuple<std::string_view, bool, const char*> cases[] = {
      {"plain text of more than eight bytes", true, "ASCII"},
      {"\0"sv, true, "a zero byte is a character"},
      {"\xC2\x80 \xDF\xBF", true, "ends of two bytes"},
      {"\xE0\xA0\x80 \xED\x9F\xBF \xEE\x80\x80 \xEF\xBF\xBF", true, "ends of three bytes"},
      {"\xF0\x90\x80\x80 \xF4\x8F\xBF\xBF", true, "ends of four bytes"},
      {"\x80", false, "a continuation alone"},
      {"\xC0\x80", false, "zero in two bytes"},
      {"\xE0\x9F\xBF", false, "overlong, three bytes"},
      {"\xF0\x8F\xBF\xBF", false, "overlong, four bytes"},
      {"\xED\xA0\x80", false, "a surrogate"},
      {"\xF4\x90\x80\x80", false, "beyond the last code point"},
      {"\xF5\x80\x80\x80", false, "a byte that never stands"},
      {"12345678\xC3", false, "cut after eight plain bytes"},
      {"\xE2\x82", false, "cut, three bytes"},
      {"\xC3\xA9\xC3", false, "cut after a good one"},
  };
  for (const auto& [text, isValid, reason] : cases)
    EXPECT_EQ(isValidUTF8(text), isValid) << reason;
}

}  // namespace
}  // namespace idlewyn::platform

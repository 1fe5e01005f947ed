// SPDX-License-Identifier: MIT
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>

#include <IdlewynKit/platform/coding/internal/WideNumbers.hpp>

namespace idlewyn::platform::internal {
namespace {

/// A number by the grammar of RFC 8259, section 6.
struct Literal {
  bool isWellFormed = false;
  bool isInteger = false;
  bool isBeyondDouble = false;
};

/// Takes the digits at the start of `text`.
std::string_view takeDigits(std::string_view& text) {
  const std::string_view digits = text.substr(0, text.find_first_not_of("0123456789"));
  text.remove_prefix(digits.size());
  return digits;
}

/// Takes an exponent with its letter; nothing when there are no digits in it. One beyond any
/// length of a document counts as that.
std::optional<std::int64_t> takeExponent(std::string_view& text) {
  constexpr std::int64_t limit = 1'000'000'000'000'000;
  text.remove_prefix(1);
  const bool isNegative = text.starts_with('-');
  if (isNegative || text.starts_with('+')) text.remove_prefix(1);
  const std::string_view digits = takeDigits(text);
  if (digits.empty()) return std::nullopt;
  std::int64_t value = 0;
  for (const char c : digits)
    value = std::min(value * 10 + (c - '0'), limit);
  return isNegative ? -value : value;
}

/// Whether a number that `from_chars` finds out of range is too large, and not too near to zero:
/// whether its first digit that counts stands before the decimal point.
bool isLarge(std::string_view whole, std::string_view fraction, std::int64_t exponent) {
  const auto length = static_cast<std::int64_t>(whole.size());
  if (whole[0] != '0') return length + exponent > 0;
  const std::size_t zeros = std::min(fraction.find_first_not_of('0'), fraction.size());
  return exponent - static_cast<std::int64_t>(zeros) > 0;
}

Literal examine(std::string_view text) {
  std::string_view rest = text;
  if (rest.starts_with('-')) rest.remove_prefix(1);
  const std::string_view whole = takeDigits(rest);
  if (whole.empty() || (whole.size() > 1 && whole[0] == '0')) return {};
  const bool isInteger = rest.empty();
  std::string_view fraction;
  if (rest.starts_with('.')) {
    rest.remove_prefix(1);
    fraction = takeDigits(rest);
    if (fraction.empty()) return {};
  }
  std::optional<std::int64_t> exponent = 0;
  if (rest.starts_with('e') || rest.starts_with('E')) exponent = takeExponent(rest);
  if (!exponent || !rest.empty()) return {};
  double value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  const bool isOutOfRange = result.ec == std::errc::result_out_of_range || std::isinf(value);
  return {true, isInteger, isOutOfRange && isLarge(whole, fraction, *exponent)};
}

bool fits64Bits(std::string_view text) {
  const char* end = text.data() + text.size();
  std::uint64_t positive = 0;
  std::int64_t negative = 0;
  return text.starts_with('-') ? std::from_chars(text.data(), end, negative).ec == std::errc()
                               : std::from_chars(text.data(), end, positive).ec == std::errc();
}

void appendNarrowed(std::string_view number, std::string& json) {
  const Literal literal = examine(number);
  if (literal.isWellFormed && literal.isBeyondDouble) {
    json += "-1.7976931348623157e308";
    return;
  }
  json += number;
  if (literal.isWellFormed && literal.isInteger && !fits64Bits(number)) json += "e0";
}

/// The length of the string literal at the start of `text`, with its quotation marks.
std::size_t stringLength(std::string_view text) {
  std::size_t at = 1;
  while (at < text.size() && text[at] != '"')
    at += text[at] == '\\' ? 2 : 1;
  return std::min(at + 1, text.size());
}

}  // namespace

std::string narrowingNumbers(std::string_view json) {
  std::string result;
  result.reserve(json.size() + 64);
  while (!json.empty()) {
    const char first = json.front();
    std::size_t length = 1;
    if (first == '"') {
      length = stringLength(json);
      result += json.substr(0, length);
    } else if (first == '-' || (first >= '0' && first <= '9')) {
      length = std::min(json.find_first_not_of("0123456789+-.eE"), json.size());
      appendNarrowed(json.substr(0, length), result);
    } else {
      result += first;
    }
    json.remove_prefix(length);
  }
  return result;
}

}  // namespace idlewyn::platform::internal

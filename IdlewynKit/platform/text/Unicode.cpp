// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdint>

#include <utf8proc.h>

#include <IdlewynKit/platform/text/Unicode.hpp>
#include <IdlewynKit/platform/text/internal/Scalars.hpp>

namespace idlewyn::platform {
namespace {

constexpr utf8proc_int32_t replacement = 0xFFFD;

struct Scalar {
  utf8proc_int32_t value;
  std::size_t length;
};

/// The code point at the start of `text`, which is not empty.
Scalar firstScalar(std::string_view text) {
  utf8proc_int32_t value = 0;
  const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                       static_cast<utf8proc_ssize_t>(text.size()), &value);
  if (length <= 0) return {replacement, 1};
  return {value, static_cast<std::size_t>(length)};
}

/// The code point at the end of `text`, which is not empty.
Scalar lastScalar(std::string_view text) {
  for (std::size_t length = std::min<std::size_t>(4, text.size()); length > 1; --length) {
    const Scalar scalar = firstScalar(text.substr(text.size() - length));
    if (scalar.length == length) return scalar;
  }
  return firstScalar(text.substr(text.size() - 1));
}

bool isASCII(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool isSpace(utf8proc_int32_t value) {
  return value == '\t' || utf8proc_category(value) == UTF8PROC_CATEGORY_ZS;
}

}  // namespace

std::string lowercased(std::string_view text) {
  std::string lower;
  lower.reserve(text.size());
  while (!text.empty()) {
    const char c = text.front();
    if (static_cast<unsigned char>(c) < 0x80) {
      lower += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
      text.remove_prefix(1);
      continue;
    }
    const Scalar scalar = firstScalar(text);
    appendScalar(static_cast<char32_t>(utf8proc_tolower(scalar.value)), lower);
    text.remove_prefix(scalar.length);
  }
  return lower;
}

void forEachCharacter(std::string_view text, const std::function<void(std::string_view)>& visit) {
  if (isASCII(text)) {
    while (!text.empty()) {
      const std::size_t length = text.starts_with("\r\n") ? 2 : 1;
      visit(text.substr(0, length));
      text.remove_prefix(length);
    }
    return;
  }
  std::size_t begin = 0, at = 0;
  utf8proc_int32_t before = 0, state = 0;
  while (at < text.size()) {
    const Scalar scalar = firstScalar(text.substr(at));
    if (at > 0 && utf8proc_grapheme_break_stateful(before, scalar.value, &state)) {
      visit(text.substr(begin, at - begin));
      begin = at;
    }
    before = scalar.value;
    at += scalar.length;
  }
  visit(text.substr(begin));
}

bool isHexDigit(std::string_view character) {
  if (character.empty()) return false;
  Scalar scalar = firstScalar(character);
  if (scalar.length != character.size()) return false;
  constexpr utf8proc_int32_t fullWidth = 0xFF01 - '!';
  if (scalar.value > 0xFF00) scalar.value -= fullWidth;
  const auto value = scalar.value;
  return (value >= '0' && value <= '9') || (value >= 'A' && value <= 'F') ||
         (value >= 'a' && value <= 'f');
}

bool hasRightToLeft(std::string_view text) {
  while (!text.empty()) {
    const Scalar scalar = firstScalar(text);
    const auto direction = utf8proc_get_property(scalar.value)->bidi_class;
    if (direction == UTF8PROC_BIDI_CLASS_R || direction == UTF8PROC_BIDI_CLASS_AL ||
        direction == UTF8PROC_BIDI_CLASS_AN)
      return true;
    text.remove_prefix(scalar.length);
  }
  return false;
}

std::string_view trimmingSpaces(std::string_view text) {
  while (!text.empty()) {
    const Scalar scalar = firstScalar(text);
    if (!isSpace(scalar.value)) break;
    text.remove_prefix(scalar.length);
  }
  while (!text.empty()) {
    const Scalar scalar = lastScalar(text);
    if (!isSpace(scalar.value)) break;
    text.remove_suffix(scalar.length);
  }
  return text;
}

}  // namespace idlewyn::platform

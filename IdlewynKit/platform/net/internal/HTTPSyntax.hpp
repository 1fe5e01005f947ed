// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

/// The grammar of what a request may carry into the head of a message (RFC 9110, section 5).
namespace idlewyn::platform {

constexpr char lowercasedASCII(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

constexpr bool equalIgnoringCase(std::string_view a, std::string_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (lowercasedASCII(a[i]) != lowercasedASCII(b[i])) return false;
  }
  return true;
}

/// A method or field name: one or more letters, digits and the marks that RFC 9110 lists.
constexpr bool isToken(std::string_view text) noexcept {
  constexpr std::string_view marks = "!#$%&'*+-.^_`|~";
  for (const char c : text) {
    const bool alphanumeric =
        (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    if (!alphanumeric && marks.find(c) == std::string_view::npos) return false;
  }
  return !text.empty();
}

/// A field value without any control character: none can end the field or the head.
constexpr bool isFieldValue(std::string_view text) noexcept {
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) return false;
  }
  return true;
}

}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

namespace idlewyn::command {

/// One character of a UTF-8 text, or one byte that is none.
struct CodePoint {
  char32_t value;
  std::size_t length;
  bool isValid;
};

/// The first of a text that is not empty. A byte that begins no well-formed sequence (RFC 3629)
/// stands alone, with the byte as its value.
CodePoint firstCodePoint(std::string_view text) noexcept;

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/base/Hexadecimal.hpp>

namespace idlewyn::platform {

std::string hexadecimal(std::span<const std::uint8_t> bytes) {
  constexpr char digits[] = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const std::uint8_t byte : bytes) {
    text += digits[byte >> 4];
    text += digits[byte & 0x0F];
  }
  return text;
}

}  // namespace idlewyn::platform

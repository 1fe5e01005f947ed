// SPDX-License-Identifier: MIT
#include <array>
#include <cstdint>

#include <IdlewynKit/platform/base/Base64.hpp>

namespace idlewyn::platform {
namespace {

constexpr std::uint8_t invalid = 0xFF;

constexpr std::array<std::uint8_t, 256> makeValues() {
  constexpr std::string_view alphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::array<std::uint8_t, 256> values{};
  values.fill(invalid);
  for (std::size_t i = 0; i < alphabet.size(); ++i) {
    values[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint8_t>(i);
  }
  return values;
}
constexpr auto values = makeValues();

}  // namespace

std::optional<Data> decodeBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::size_t padding = 0;
  while (padding < 2 && text.ends_with('=')) {
    text.remove_suffix(1);
    ++padding;
  }
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3 + 3);
  std::uint32_t bits = 0;
  int count = 0;
  for (const char c : text) {
    const std::uint8_t value = values[static_cast<unsigned char>(c)];
    if (value == invalid) return std::nullopt;
    bits = (bits << 6) | value;
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(bits >> count & 0xFF);
  }
  return Data::ofText(std::move(bytes));
}

}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
// What decodes encodes again to the same text, but for the unused bits of its last group.
#include <IdlewynKit/platform/base/Base64.hpp>

#include "support/Require.hpp"

using namespace idlewyn;

namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string encoded(std::string_view bytes) {
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    std::uint32_t group = 0;
    for (std::size_t i = 0; i < 3; ++i) {
      group <<= 8;
      if (at + i < bytes.size()) group |= static_cast<unsigned char>(bytes[at + i]);
    }
    for (std::size_t i = 0; i < 4; ++i) {
      text += at + i <= bytes.size() ? alphabet[group >> (18 - 6 * i) & 63] : '=';
    }
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto text = fuzz::asText(data, size);
  fuzz::require(platform::decodeBase64(encoded(text)).value().text() == text);
  const auto bytes = platform::decodeBase64(text);
  if (!bytes) return 0;
  const std::string again = encoded(bytes->text());
  fuzz::require(again.size() == text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isLast = i + 1 == text.size() || text[i + 1] == '=';
    fuzz::require(again[i] == text[i] || (isLast && text.ends_with('=')));
  }
  return 0;
}

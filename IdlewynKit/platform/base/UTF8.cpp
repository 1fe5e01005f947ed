// SPDX-License-Identifier: MIT
#include <cstdint>
#include <cstring>

#include <IdlewynKit/platform/base/UTF8.hpp>

namespace idlewyn::platform {
namespace {

bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

/// The length of the well-formed sequence at `at`, which is no ASCII byte; 0 when there is none.
std::size_t sequenceLength(const unsigned char* at, std::size_t left) {
  const unsigned char lead = at[0];
  if (lead < 0xC2 || lead > 0xF4 || left < 2) return 0;
  if (lead < 0xE0) return isContinuation(at[1]) ? 2 : 0;
  // The second byte excludes overlong forms, surrogates and what lies beyond U+10FFFF.
  const unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  if (at[1] < low || at[1] > high || left < 3 || !isContinuation(at[2])) return 0;
  if (lead < 0xF0) return 3;
  return left >= 4 && isContinuation(at[3]) ? 4 : 0;
}

}  // namespace

bool isValidUTF8(std::string_view text) noexcept {
  const auto* at = reinterpret_cast<const unsigned char*>(text.data());
  std::size_t left = text.size();
  while (left > 0) {
    std::uint64_t word = 0;
    if (left >= sizeof word) {
      std::memcpy(&word, at, sizeof word);
      if ((word & 0x8080'8080'8080'8080u) == 0) {
        at += sizeof word;
        left -= sizeof word;
        continue;
      }
    }
    const std::size_t length = *at < 0x80 ? 1 : sequenceLength(at, left);
    if (length == 0) return false;
    at += length;
    left -= length;
  }
  return true;
}

}  // namespace idlewyn::platform

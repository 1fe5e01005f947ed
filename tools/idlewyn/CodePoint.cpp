// SPDX-License-Identifier: MIT
#include "CodePoint.hpp"

#include <algorithm>
#include <array>

#include "CodePointRange.hpp"

namespace idlewyn::command {
namespace {

constexpr std::array<CodePointRange, 14> wide{{
    {0x1100, 0x115E},
    {0x231A, 0x231B},
    {0x23E9, 0x23EC},
    {0x2614, 0x2615},
    {0x26A1, 0x26A1},
    {0x2705, 0x2705},
    {0x2728, 0x2728},
    {0x2E80, 0x303E},
    {0x3041, 0xA4CF},
    {0xAC00, 0xD7A3},
    {0xF900, 0xFAFF},
    {0xFE30, 0xFE6F},
    {0xFF01, 0xFF60},
    {0xFFE0, 0xFFE6},
}};
constexpr std::array<CodePointRange, 3> wideAbove{{
    {0x1F300, 0x1F64F},
    {0x1F680, 0x1FAFF},
    {0x20000, 0x3FFFD},
}};
constexpr std::array<CodePointRange, 13> combining{{
    {0x0300, 0x036F},
    {0x0483, 0x0489},
    {0x0591, 0x05BD},
    {0x064B, 0x065F},
    {0x0E31, 0x0E31},
    {0x0E34, 0x0E3A},
    {0x0E47, 0x0E4E},
    {0x1AB0, 0x1AFF},
    {0x1DC0, 0x1DFF},
    {0x20D0, 0x20FF},
    {0x302A, 0x302D},
    {0x3099, 0x309A},
    {0xFE20, 0xFE2F},
}};

struct LeadByte {
  std::size_t length;
  char32_t bits;
  char32_t smallest;
};

// Length 0 for a byte that leads nothing.
constexpr LeadByte leadByte(unsigned char byte) noexcept {
  if (byte < 0x80) return {1, byte, 0};
  if (byte >= 0xC2 && byte <= 0xDF) return {2, byte & 0x1Fu, 0x80};
  if (byte >= 0xE0 && byte <= 0xEF) return {3, byte & 0x0Fu, 0x800};
  if (byte >= 0xF0 && byte <= 0xF4) return {4, byte & 0x07u, 0x10000};
  return {0, 0, 0};
}

std::size_t columns(char32_t value) noexcept {
  if (contains(combining, value)) return 0;
  return contains(wide, value) || contains(wideAbove, value) ? 2 : 1;
}

}  // namespace

CodePoint firstCodePoint(std::string_view text) noexcept {
  const auto byte = static_cast<unsigned char>(text.front());
  const CodePoint alone{byte, 1, false};
  const LeadByte lead = leadByte(byte);
  if (lead.length == 0 || lead.length > text.size()) return alone;
  char32_t value = lead.bits;
  for (const char next : text.substr(1, lead.length - 1)) {
    const auto bits = static_cast<unsigned char>(next);
    if ((bits & 0xC0) != 0x80) return alone;
    value = value << 6 | (bits & 0x3Fu);
  }
  const bool isSurrogate = value >= 0xD800 && value <= 0xDFFF;
  if (value < lead.smallest || isSurrogate || value > 0x10FFFF) return alone;
  return {value, lead.length, true};
}

std::size_t displayWidth(std::string_view text) noexcept {
  std::size_t width = 0;
  while (!text.empty()) {
    const CodePoint next = firstCodePoint(text);
    width += columns(next.value);
    text.remove_prefix(next.length);
  }
  return width;
}

}  // namespace idlewyn::command

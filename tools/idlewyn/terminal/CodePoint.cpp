// SPDX-License-Identifier: MIT
#include <tools/idlewyn/terminal/CodePoint.hpp>

namespace idlewyn::command {
namespace {

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

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#include "Escape.hpp"

#include <algorithm>
#include <array>
#include <cstdio>

#include "CodePoint.hpp"

namespace idlewyn::command {
namespace {

// Both ends belong to it.
struct CodePointRange {
  char32_t first;
  char32_t last;
};

// Controls, bidirectional controls, line and paragraph separators, and what is drawn as nothing;
// in rising order.
constexpr std::array<CodePointRange, 20> hidden{{
    {0x0000, 0x001F},   {0x007F, 0x009F},   {0x00AD, 0x00AD},    // C0, C1, soft hyphen
    {0x034F, 0x034F},   {0x061C, 0x061C},   {0x115F, 0x1160},    // joiner, Arabic mark, fillers
    {0x17B4, 0x17B5},   {0x180B, 0x180F},   {0x200B, 0x200F},    // zero widths, LRM, RLM
    {0x2028, 0x202E},   {0x2060, 0x206F},   {0x2800, 0x2800},    // separators, overrides, isolates
    {0x3164, 0x3164},   {0xFE00, 0xFE0F},   {0xFEFF, 0xFEFF},    // filler, variations, BOM
    {0xFFA0, 0xFFA0},   {0xFFF0, 0xFFFB},   {0x1BCA0, 0x1BCA3},  // filler, annotations, shorthand
    {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF},                      // musical controls, tags
}};

bool isHidden(char32_t value) noexcept {
  const auto range = std::ranges::lower_bound(hidden, value, {}, &CodePointRange::last);
  return range != hidden.end() && range->first <= value;
}

std::string numbered(char kind, char32_t value) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "\\%c{%02X}", kind, static_cast<unsigned>(value));
  return text.data();
}

std::string escape(const CodePoint& point) {
  if (!point.isValid) return numbered('x', point.value);
  switch (point.value) {
    case '\n': return "\\n";
    case '\t': return "\\t";
    case '\r': return "\\r";
    case '\\': return "\\\\";
    default: return numbered('u', point.value);
  }
}

std::string escapedUnits(char32_t value) {
  std::array<char, 16> text{};
  if (value < 0x10000) {
    std::snprintf(text.data(), text.size(), "\\u%04X", static_cast<unsigned>(value));
  } else {
    const auto rest = static_cast<unsigned>(value - 0x10000);
    std::snprintf(text.data(), text.size(), "\\u%04X\\u%04X", 0xD800 + (rest >> 10),
                  0xDC00 + (rest & 0x3FF));
  }
  return text.data();
}

}  // namespace

std::string escaped(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const CodePoint point = firstCodePoint(text);
    if (!point.isValid || point.value == '\\' || isHidden(point.value)) {
      result += escape(point);
    } else {
      result += text.substr(0, point.length);
    }
    text.remove_prefix(point.length);
  }
  return result;
}

std::string escapedJSON(std::string_view document) {
  std::string result;
  result.reserve(document.size());
  while (!document.empty()) {
    const CodePoint point = firstCodePoint(document);
    if (point.isValid && isHidden(point.value)) {
      result += escapedUnits(point.value);
    } else {
      result += document.substr(0, point.length);
    }
    document.remove_prefix(point.length);
  }
  return result;
}

}  // namespace idlewyn::command

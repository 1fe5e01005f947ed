// SPDX-License-Identifier: MIT
// What people are shown of a hostile text is UTF-8 of bounded size without a character that is not
// seen where it stands, and the text can be read from it byte by byte, so that different texts give
// different results. A JSON document stays the same document.
#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <IdlewynKit/model/JSONCoding.hpp>
#include <IdlewynKit/platform/base/UTF8.hpp>
#include <IdlewynKit/platform/text/DisplayText.hpp>

#include "support/Require.hpp"

using namespace idlewyn;
using fuzz::require;

namespace {

struct Range {
  char32_t first, last;
};

// What stays nowhere: controls, blanks, separators, default ignorables but those of `inContext`,
// the blank Braille pattern, private use.
constexpr std::array unseen{
    Range{0x0000, 0x001F},    Range{0x007F, 0x00A0},   Range{0x00AD, 0x00AD},
    Range{0x034F, 0x034F},    Range{0x061C, 0x061C},   Range{0x115F, 0x1160},
    Range{0x1680, 0x1680},    Range{0x17B4, 0x17B5},   Range{0x180E, 0x180E},
    Range{0x2000, 0x200B},    Range{0x200E, 0x200F},   Range{0x2028, 0x202F},
    Range{0x205F, 0x206F},    Range{0x2800, 0x2800},   Range{0x3000, 0x3000},
    Range{0x3164, 0x3164},    Range{0xE000, 0xF8FF},   Range{0xFEFF, 0xFEFF},
    Range{0xFFA0, 0xFFA0},    Range{0xFFF0, 0xFFFC},   Range{0x1BCA0, 0x1BCA3},
    Range{0x1D173, 0x1D17A},  Range{0xE0000, 0xE001F}, Range{0xE0080, 0xE0FFF},
    Range{0xF0000, 0x10FFFF},
};

// What stays only after another character: joiners, variation selectors, tags, common marks.
constexpr std::array inContext{
    Range{0x0300, 0x034E}, Range{0x0350, 0x036F}, Range{0x180B, 0x180D},   Range{0x180F, 0x180F},
    Range{0x200C, 0x200D}, Range{0xFE00, 0xFE0F}, Range{0xE0020, 0xE007F},
};

template <std::size_t size>
bool isIn(const std::array<Range, size>& ranges, char32_t value) {
  for (const Range& range : ranges) {
    if (value >= range.first && value <= range.last) return true;
  }
  return false;
}

// Of a text that is UTF-8.
char32_t takeCodePoint(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  char32_t value = length == 1 ? lead : lead & (0xFFu >> (length + 1));
  for (std::size_t i = 1; i < length; ++i)
    value = value << 6 | (static_cast<unsigned char>(text[i]) & 0x3Fu);
  text.remove_prefix(length);
  return value;
}

void append(char32_t value, std::string& text) {
  const std::size_t length = value < 0x80 ? 1 : value < 0x800 ? 2 : value < 0x10000 ? 3 : 4;
  if (length == 1) {
    text += static_cast<char>(value);
    return;
  }
  text += static_cast<char>((0xF00u >> length & 0xFFu) | value >> 6 * (length - 1));
  for (std::size_t i = length - 1; i-- > 0;)
    text += static_cast<char>(0x80u | (value >> 6 * i & 0x3Fu));
}

std::u32string codePoints(std::string_view text) {
  std::u32string values;
  while (!text.empty())
    values += takeCodePoint(text);
  return values;
}

// A control character in place of each form that is written out.
std::string withoutEscapes(std::string_view shown) {
  std::string text;
  while (!shown.empty()) {
    const bool isEscape = shown.starts_with("\\u{") || shown.starts_with("\\x{");
    text += isEscape ? '\x01' : shown.front();
    shown.remove_prefix(isEscape ? shown.find('}') + 1 : 1);
  }
  return text;
}

// Rules that hold between neighbours.
void requireNeighbours(const std::u32string& shown, bool isBlock) {
  int marks = 0;
  std::size_t blanks = 0;
  char32_t before = '\n';
  for (const char32_t value : shown) {
    const bool isMark = value >= 0x0300 && value <= 0x036F;
    if (isIn(inContext, value)) {
      require(before > ' ');
      const bool isJoinerOrSelector = !isMark;
      // Of ASCII the keycaps alone have a selector, and nothing has a joiner.
      if (isJoinerOrSelector && before < 0x80) require(value == 0xFE0F);
      if (isJoinerOrSelector && value < 0xE0000) require(before != value);
    }
    marks = isMark ? marks + 1 : 0;
    require(marks <= 8);
    if (value == '\n') require(before == '\n' || blanks == 0);
    blanks = value == ' ' ? blanks + 1 : 0;
    require(blanks <= (isBlock ? 40u : 3u));
    before = value;
  }
  require(blanks == 0);
}

void requireSeen(std::string_view shown, bool isBlock) {
  require(platform::isValidUTF8(shown));
  const std::u32string values = codePoints(shown);
  for (const char32_t value : values) {
    const bool isShape = isBlock && (value == '\n' || value == '\t');
    require(isShape || !isIn(unseen, value));
  }
  requireNeighbours(codePoints(withoutEscapes(shown)), isBlock);
}

struct Escape {
  char32_t value;
  std::size_t count;
};

// Behind "\u" or "\x": the number in braces, with its count.
Escape takeEscape(std::string_view& shown) {
  const std::size_t end = shown.find('}');
  require(shown.size() >= 4 && shown[0] == '{' && end != std::string_view::npos);
  const std::string digits(shown.substr(1, end - 1));
  std::size_t used = 0, count = 1;
  const unsigned long value = std::stoul(digits, &used, 16);
  if (used < digits.size()) {
    require(digits[used] == '*');
    const std::string number = digits.substr(used + 1);
    count = std::stoul(number, &used);
    require(used == number.size() && count > 1);
  }
  shown.remove_prefix(end + 1);
  return {static_cast<char32_t>(value), count};
}

// What was given, read from what is shown.
std::string given(std::string_view shown) {
  std::string text;
  while (!shown.empty()) {
    const bool isEscape = shown.starts_with("\\u{") || shown.starts_with("\\x{");
    if (!isEscape) {
      text += shown.front();
      shown.remove_prefix(1);
      continue;
    }
    const bool isByte = shown[1] == 'x';
    shown.remove_prefix(2);
    const Escape escape = takeEscape(shown);
    require(!isByte || (escape.value >= 0x80 && escape.value <= 0xFF));
    for (std::size_t i = 0; i < escape.count; ++i) {
      if (isByte) {
        text += static_cast<char>(escape.value);
      } else {
        append(escape.value, text);
      }
    }
  }
  return text;
}

void checkShown(const std::string& text, const std::string& shown, bool isBlock) {
  require(shown.size() <= 6 * text.size());
  requireSeen(shown, isBlock);
  require(given(shown) == text);
}

void checkJSON(const std::string& text) {
  const std::vector<std::string> document{text};
  const std::string shown = platform::displayJSON(JSONEncoder::relay().encode(document).text());
  for (const char32_t value : codePoints(shown))
    require(!isIn(unseen, value) && value != 0x200C && value != 0x200D);
  require(JSONDecoder::relay().decode<std::vector<std::string>>(shown) == document);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(fuzz::asText(data, size));
  checkShown(text, platform::displayLine(text), false);
  checkShown(text, platform::displayBlock(text), true);
  if (platform::isValidUTF8(text)) checkJSON(text);
  return 0;
}

// SPDX-License-Identifier: MIT
// What is shown of a hostile text can be seen and is UTF-8; what was given can be told from it
// byte by byte, and what was harmless is as it was. A JSON document stays the same document.
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include <IdlewynKit/model/JSONCoding.hpp>
#include <IdlewynKit/platform/base/UTF8.hpp>

#include "support/Require.hpp"
#include "tools/idlewyn/Escape.hpp"

using namespace idlewyn;
using fuzz::require;

namespace {

struct Range {
  char32_t first, last;
};

// As Unicode has them: controls, separators of lines and paragraphs, and what may be ignored when
// it is drawn (Default_Ignorable_Code_Point, bidirectional controls included), and the blank
// Braille pattern.
constexpr std::array unseen{
    Range{0x0000, 0x001F},   Range{0x007F, 0x009F},   Range{0x00AD, 0x00AD},
    Range{0x034F, 0x034F},   Range{0x061C, 0x061C},   Range{0x115F, 0x1160},
    Range{0x17B4, 0x17B5},   Range{0x180B, 0x180F},   Range{0x200B, 0x200F},
    Range{0x2028, 0x202E},   Range{0x2060, 0x206F},   Range{0x2800, 0x2800},
    Range{0x3164, 0x3164},   Range{0xFE00, 0xFE0F},   Range{0xFEFF, 0xFEFF},
    Range{0xFFA0, 0xFFA0},   Range{0xFFF0, 0xFFFB},   Range{0x1BCA0, 0x1BCA3},
    Range{0x1D173, 0x1D17A}, Range{0xE0000, 0xE0FFF},
};

bool isUnseen(char32_t value) {
  for (const Range& range : unseen) {
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

void requireSeen(std::string_view shown) {
  require(platform::isValidUTF8(shown));
  while (!shown.empty())
    require(!isUnseen(takeCodePoint(shown)));
}

// Behind "\u" or "\x": the number in braces.
char32_t takeNumber(std::string_view& shown) {
  const std::size_t end = shown.find('}');
  require(shown.size() >= 4 && shown[0] == '{' && end != std::string_view::npos && end <= 7);
  std::size_t used = 0;
  const std::string digits(shown.substr(1, end - 1));
  const unsigned long value = std::stoul(digits, &used, 16);
  require(used == digits.size());
  shown.remove_prefix(end + 1);
  return static_cast<char32_t>(value);
}

// What was given, read from what is shown: nothing that can be seen is written out, and bytes only
// where the text was no UTF-8.
std::string given(std::string_view shown, bool isUTF8) {
  std::string text;
  while (!shown.empty()) {
    const char first = shown.front();
    shown.remove_prefix(1);
    if (first != '\\') {
      text += first;
      continue;
    }
    require(!shown.empty());
    const char kind = shown.front();
    shown.remove_prefix(1);
    if (kind == 'x') {
      const char32_t byte = takeNumber(shown);
      require(!isUTF8 && byte >= 0x80 && byte <= 0xFF);
      text += static_cast<char>(byte);
    } else if (kind == 'u') {
      const char32_t value = takeNumber(shown);
      require(isUnseen(value));
      append(value, text);
    } else {
      const std::size_t known = std::string_view("ntr\\").find(kind);
      require(known != std::string_view::npos);
      text += "\n\t\r\\"[known];
    }
  }
  return text;
}

void checkJSON(const std::string& text) {
  const std::vector<std::string> document{text};
  const std::string shown = command::escapedJSON(JSONEncoder::relay().encode(document).text());
  requireSeen(shown);
  require(JSONDecoder::relay().decode<std::vector<std::string>>(shown) == document);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(fuzz::asText(data, size));
  const std::string shown = command::escaped(text);
  const bool isUTF8 = platform::isValidUTF8(text);
  requireSeen(shown);
  require(given(shown, isUTF8) == text);
  if (isUTF8) checkJSON(text);
  return 0;
}

// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/internal/text/TextPreparation.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>

#include <glib.h>

namespace idlewyn::platform::internal {
namespace {

constexpr std::size_t maximumBytes = 65'536;
constexpr std::size_t maximumBytesOfLine = 8192;
constexpr std::string_view ellipsis = "\u2026";
constexpr std::string_view replacement = "\uFFFD";

bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

std::string_view trailing(std::string_view text, std::size_t bytes) {
  std::size_t start = text.size() - bytes;
  for (int on = 0; on < 3 && start < text.size() && isContinuation(text[start]); ++on)
    ++start;
  return text.substr(start);
}

/// More than fits a line of that width: a glyph is assumed to take at least a fiftieth of an em
/// for each byte.
std::size_t bytesOfLine(double size, double width) {
  const double plenty = std::ceil(width / (size * 0.02)) + 64;
  // Pango counts widths in 1/1024 points and 31 bits.
  const double safe = std::max(16.0, 500'000 / size);
  return std::min(maximumBytesOfLine, static_cast<std::size_t>(std::min(plenty, safe)));
}

bool isPlain(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < 0x7F; });
}

bool isControl(gunichar c) { return (c < 0x20 && c != '\t') || (c >= 0x7F && c < 0xA0); }

bool isLineBreak(gunichar c) { return c == '\n' || c == '\r' || c == 0x2028 || c == 0x2029; }

/// Appends with each byte that is no UTF-8 and each control character replaced, and line breaks
/// of every kind as `lineBreak`.
void appendClean(std::string& result, std::string_view text, char lineBreak) {
  if (isPlain(text)) {
    result += text;
    return;
  }
  for (std::size_t at = 0; at < text.size();) {
    const char* start = text.data() + at;
    gunichar c = g_utf8_get_char_validated(start, static_cast<gssize>(text.size() - at));
    if (*start == '\0') c = 0;  // counts as the end otherwise
    if (c >= 0x110000) {
      result += replacement;
      ++at;
      continue;
    }
    const std::size_t length = static_cast<std::size_t>(g_unichar_to_utf8(c, nullptr));
    at += length;
    if (isLineBreak(c)) {
      if (c == '\r' && at < text.size() && text[at] == '\n') ++at;
      result += lineBreak;
    } else if (isControl(c)) {
      result += replacement;
    } else {
      result.append(start, length);
    }
  }
}

std::string_view withoutLastLineBreaks(std::string_view text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
    text.remove_suffix(1);
  return text;
}

}  // namespace

std::string_view leadingCharacters(std::string_view text, std::size_t bytes) {
  if (bytes >= text.size()) return text;
  for (int back = 0; back < 3 && bytes > 0 && isContinuation(text[bytes]); ++back)
    --bytes;
  return text.substr(0, bytes);
}

PreparedText prepareText(const TextRequest& request, double size, double width, int lines) {
  const char lineBreak = lines == 1 ? ' ' : '\n';
  const std::size_t line = bytesOfLine(size, width);
  const auto count = static_cast<std::size_t>(lines);
  const bool isTail = request.truncation == TruncationMode::tail;
  const bool isHead = request.truncation == TruncationMode::head;
  const auto most = std::min(maximumBytes, static_cast<std::size_t>(2'000'000 / size));
  const std::size_t head = std::min((isHead ? count - 1 : count) * line, most);
  const std::size_t tail = isTail ? 0 : line;

  std::string_view text = request.text;
  if (lines == 1) text = withoutLastLineBreaks(text);
  PreparedText prepared;
  prepared.isCut = text.size() > head + tail;
  if (!prepared.isCut) {
    appendClean(prepared.text, text, lineBreak);
    return prepared;
  }
  appendClean(prepared.text, leadingCharacters(text, head), lineBreak);
  prepared.text += ellipsis;
  if (tail > 0) appendClean(prepared.text, trailing(text, tail), lineBreak);
  return prepared;
}

}  // namespace idlewyn::platform::internal

// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/text/LogicalOrder.hpp>

#include <utf8proc.h>

#include <IdlewynKit/platform/text/Unicode.hpp>
#include <IdlewynKit/platform/text/internal/Scalars.hpp>

namespace idlewyn::platform {
namespace {

constexpr std::string_view leftToRightMark = "\u200E", isolate = "\u2068", popIsolate = "\u2069",
                           wordJoiner = "\u2060";

auto directionOf(char32_t value) {
  return utf8proc_get_property(static_cast<utf8proc_int32_t>(value))->bidi_class;
}

bool isRightToLeft(char32_t value) {
  const auto direction = directionOf(value);
  return direction == UTF8PROC_BIDI_CLASS_R || direction == UTF8PROC_BIDI_CLASS_AL ||
         direction == UTF8PROC_BIDI_CLASS_AN;
}

// Marks and joiners belong to the letter before them.
bool continuesRun(char32_t value) {
  return isRightToLeft(value) || directionOf(value) == UTF8PROC_BIDI_CLASS_NSM ||
         directionOf(value) == UTF8PROC_BIDI_CLASS_BN;
}

void appendIsolating(std::string_view line, std::string& result) {
  result += leftToRightMark;
  bool isInside = false;
  constexpr char32_t replacement = 0xFFFD;
  for (const char32_t scalar : decodedScalars(line)) {
    const char32_t value = scalar >= firstStrayByte ? replacement : scalar;
    if (!isInside && isRightToLeft(value)) {
      result += isolate;
      isInside = true;
    } else if (isInside && !continuesRun(value)) {
      result += popIsolate;
      isInside = false;
    }
    appendScalar(value, result);
  }
  if (isInside) result += popIsolate;
}

std::string joiningHyphens(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    result += text[at];
    const bool hasMore =
        at + 1 < text.size() && text[at + 1] != ' ' && text[at + 1] != '\n' && text[at + 1] != '\t';
    if (text[at] == '-' && hasMore) result += wordJoiner;
  }
  return result;
}

}  // namespace

std::string textInLogicalOrder(std::string_view text, bool keepsOptionsWhole) {
  std::string result;
  if (hasRightToLeft(text)) {
    for (std::string_view rest = text;;) {
      const std::size_t end = rest.find('\n');
      const std::string_view line = rest.substr(0, end);
      if (hasRightToLeft(line)) {
        appendIsolating(line, result);
      } else {
        result += line;
      }
      if (end == std::string_view::npos) break;
      result += '\n';
      rest.remove_prefix(end + 1);
    }
  } else {
    result = text;
  }
  return keepsOptionsWhole ? joiningHyphens(result) : result;
}

}  // namespace idlewyn::platform

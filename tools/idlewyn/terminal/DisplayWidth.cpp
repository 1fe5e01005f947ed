// SPDX-License-Identifier: MIT
#include <tools/idlewyn/terminal/DisplayWidth.hpp>

#include <utf8proc.h>

#include <tools/idlewyn/terminal/CodePoint.hpp>

namespace idlewyn::command {
namespace {

// Rather too wide than too narrow: a row that is wider than it seems breaks, and then a redraw
// begins too far down. Marks that take room of their own are no exception therefore, and what the
// library doesn't know yet counts as an emoji where those are.
std::size_t columns(char32_t value) noexcept {
  constexpr char32_t firstEmoji = 0x1F000;
  const auto point = static_cast<utf8proc_int32_t>(value);
  switch (utf8proc_category(point)) {
    case UTF8PROC_CATEGORY_MN:
    case UTF8PROC_CATEGORY_ME: return 0;
    case UTF8PROC_CATEGORY_CN: return value < firstEmoji ? 1 : 2;
    default: return utf8proc_charwidth(point) == 2 ? 2 : 1;
  }
}

}  // namespace

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

// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/text/internal/Joiners.hpp>

#include <algorithm>

#include <utf8proc.h>

#include <IdlewynKit/platform/text/internal/Scalars.hpp>
#include <IdlewynKit/platform/text/internal/UnicodeTables.hpp>
#include <IdlewynKit/platform/text/internal/Visibility.hpp>

namespace idlewyn::platform {
namespace {

constexpr char32_t zeroWidthNonJoiner = 0x200C, zeroWidthJoiner = 0x200D;
constexpr char32_t emojiStyle = 0xFE0F, keycap = 0x20E3;
constexpr std::size_t farthest = 10;  // how far a letter is looked for beyond its marks

struct Letter {
  int script = 0;  // 0 for what is no letter of a joining script
  char joining = 'U';
  bool joinsLeft() const noexcept { return joining == 'D' || joining == 'L' || joining == 'C'; }
  bool joinsRight() const noexcept { return joining == 'D' || joining == 'R' || joining == 'C'; }
  bool isJoining() const noexcept { return joining != 'U'; }
};

Letter letterOf(char32_t value) noexcept {
  const auto letters = tables::joiningLetters();
  const auto at = std::ranges::lower_bound(letters, value, {}, &tables::JoiningLetters::last);
  if (at == letters.end() || value < at->first) return {};
  return {at->script, at->joining};
}

const utf8proc_property_t& properties(char32_t value) noexcept {
  return *utf8proc_get_property(static_cast<utf8proc_int32_t>(value));
}

bool isVirama(char32_t value) noexcept {
  constexpr int viramaClass = 9;
  return value < firstStrayByte && properties(value).combining_class == viramaClass;
}

Letter letterBefore(std::u32string_view text, std::size_t at) noexcept {
  for (std::size_t steps = 0; at > 0 && steps < farthest; ++steps) {
    if (!isAttached(text[--at])) return letterOf(text[at]);
  }
  return {};
}

Letter letterAfter(std::u32string_view text, std::size_t at) noexcept {
  for (std::size_t steps = 0; ++at < text.size() && steps < farthest; ++steps) {
    if (!isAttached(text[at])) return letterOf(text[at]);
  }
  return {};
}

}  // namespace

bool isJoiner(char32_t value) noexcept {
  return value == zeroWidthNonJoiner || value == zeroWidthJoiner;
}

bool joinsEmoji(std::u32string_view text, std::size_t at) noexcept {
  if (text[at] != zeroWidthJoiner || at + 1 == text.size()) return false;
  // A modifier of the skin's tone and a selector may stand between.
  std::size_t left = at;
  do {
    --left;
  } while (left > 0 && at - left < farthest && text[left] < firstStrayByte &&
           properties(text[left]).boundclass == UTF8PROC_BOUNDCLASS_EXTEND);
  return std::ranges::binary_search(tables::joinedEmoji(),
                                    tables::JoinedEmoji{text[left], text[at + 1]});
}

bool shapesLetters(std::u32string_view text, std::size_t at) noexcept {
  const Letter before = letterBefore(text, at), after = letterAfter(text, at);
  if (before.script == 0) return false;
  const bool isOneScript = before.script == after.script;
  const bool isJoiner = text[at] == zeroWidthJoiner;
  if (isVirama(text[at - 1])) return isJoiner || isOneScript;
  if (isJoiner && at + 1 < text.size() && isVirama(text[at + 1])) return isOneScript;
  if (isJoiner) return before.joinsLeft() && !after.joinsRight();
  return isOneScript && before.isJoining() && after.isJoining();
}

bool selectsVariation(std::u32string_view text, std::size_t at) noexcept {
  const char32_t base = text[at - 1], selector = text[at];
  if (base < 0x80) {
    if (selector != emojiStyle || at + 1 == text.size() || text[at + 1] != keycap) return false;
  }
  std::uint32_t number = 0;
  if (selector >= 0xFE00 && selector <= 0xFE0F) {
    number = selector - 0xFE00;
  } else if (selector >= 0x180B && selector <= 0x180F) {
    number = 16 + (selector - 0x180B);
  } else {
    return false;
  }
  return std::ranges::binary_search(tables::variationSequences(), base << 5 | number);
}

std::size_t tagSequenceLength(std::u32string_view text) noexcept {
  for (const std::u32string_view sequence : tables::tagSequences()) {
    if (text.starts_with(sequence)) return sequence.size();
  }
  return 0;
}

}  // namespace idlewyn::platform

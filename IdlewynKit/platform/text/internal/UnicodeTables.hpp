// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

/// What Unicode's data says and utf8proc does not. tools/dev/make_text_tables.py makes the tables.
namespace idlewyn::platform::tables {

/// Both ends belong to the range. `joining` is the Joining_Type: D, R, L, C or U.
struct JoiningLetters {
  char32_t first, last;
  std::uint8_t script;
  char joining;
};

struct JoinedEmoji {
  char32_t left, right;
  auto operator<=>(const JoinedEmoji&) const = default;
};

std::span<const JoiningLetters> joiningLetters() noexcept;
/// The base in the upper bits; in the lower five the selector: 0 to 15 for U+FE00 to U+FE0F, and
/// from 16 on those of Mongolian, from U+180B.
std::span<const std::uint32_t> variationSequences() noexcept;
std::span<const JoinedEmoji> joinedEmoji() noexcept;
/// The most joiners in one emoji.
int mostEmojiJoiners() noexcept;
std::span<const std::u32string_view> tagSequences() noexcept;
std::span<const char32_t> blankGlyphs() noexcept;
std::span<const char32_t> likeBackslash() noexcept;

}  // namespace idlewyn::platform::tables

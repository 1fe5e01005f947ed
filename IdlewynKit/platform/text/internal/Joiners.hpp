// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

/// Where characters that are not seen themselves belong, by Unicode's data. In each function the
/// character before `at` is one that stays; there is one.
namespace idlewyn::platform {

bool isJoiner(char32_t value) noexcept;

/// True for a U+200D between two parts of an emoji sequence (UTS #51).
bool joinsEmoji(std::u32string_view text, std::size_t at) noexcept;

/// True for a U+200C or U+200D that shapes letters of a joining script: between letters of one
/// script that joins them, beside a virama, or after a letter that shows its joined form so.
bool shapesLetters(std::u32string_view text, std::size_t at) noexcept;

/// True for a selector of a standardized or an emoji variation sequence. Of ASCII characters only
/// the keycaps have one.
bool selectsVariation(std::u32string_view text, std::size_t at) noexcept;

/// The length of the emoji tag sequence (a flag of a region) at the start of `text`, or 0.
std::size_t tagSequenceLength(std::u32string_view text) noexcept;

}  // namespace idlewyn::platform

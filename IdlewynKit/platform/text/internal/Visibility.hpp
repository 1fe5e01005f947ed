// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace idlewyn::platform {

/// True for a character that is seen wherever it stands: no control, format character, separator,
/// default ignorable, empty glyph, or unassigned or private-use character. U+0020 counts as seen.
bool isVisible(char32_t value) noexcept;

/// True for a character that is drawn on the one before it: a mark, or a Hangul vowel or final
/// consonant (Jamo).
bool isAttached(char32_t value) noexcept;

/// True where a Hangul vowel or final consonant continues a syllable, and for all other marks.
bool attachesTo(char32_t before, char32_t value) noexcept;

/// True for a character that looks like a backslash, or is one.
bool isLikeBackslash(char32_t value) noexcept;

}  // namespace idlewyn::platform

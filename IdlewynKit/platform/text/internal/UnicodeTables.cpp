// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/text/internal/UnicodeTables.hpp>

namespace idlewyn::platform::tables {
namespace data {
#include <IdlewynKit/platform/text/internal/UnicodeTables.inc>
}  // namespace data

std::span<const JoiningLetters> joiningLetters() noexcept { return data::joiningLetters; }
std::span<const std::uint32_t> variationSequences() noexcept { return data::variationSequences; }
std::span<const JoinedEmoji> joinedEmoji() noexcept { return data::joinedEmoji; }
int mostEmojiJoiners() noexcept { return data::mostEmojiJoiners; }
std::span<const std::u32string_view> tagSequences() noexcept { return data::tagSequences; }
std::span<const char32_t> blankGlyphs() noexcept { return data::blankGlyphs; }
std::span<const char32_t> likeBackslash() noexcept { return data::likeBackslash; }

}  // namespace idlewyn::platform::tables

// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string_view>

#include <IdlewynKit/platform/view/internal/text/ShapedText.hpp>

namespace idlewyn::platform::internal {

/// Shortens a line by leaving out glyphs, without shaping it again. Absent where glyphs don't
/// stand for characters one by one: only for ASCII in one font, without digits that were widened.
/// `whole` is all of `text`; `ellipsis` is shaped with the same font.
std::optional<ShapedText> truncateGlyphs(const ShapedText& whole, std::string_view text,
                                         const ShapedText& ellipsis, double width,
                                         TruncationMode mode);

}  // namespace idlewyn::platform::internal

// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <IdlewynKit/platform/view/internal/text/TextShaping.hpp>

namespace idlewyn::platform::internal {

inline constexpr double maximumTextWidth = 50'000;
inline constexpr int maximumLines = 4096;

struct PreparedText {
  std::string text;  ///< UTF-8 without control characters but line feeds and tabs
  bool isCut = false;
};

/// What of a request's text is worth shaping at `size` points and at most `width`, for `lines`
/// lines.
PreparedText prepareText(const TextRequest& request, double size, double width, int lines);

/// At most so many bytes of UTF-8, whole characters.
std::string_view leadingCharacters(std::string_view text, std::size_t bytes);

}  // namespace idlewyn::platform::internal

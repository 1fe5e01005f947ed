// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include <IdlewynKit/platform/view/Font.hpp>
#include <IdlewynKit/platform/view/Geometry.hpp>
#include <IdlewynKit/platform/view/TruncationMode.hpp>

namespace idlewyn::platform::internal {

class ShapedText;

struct TextRequest {
  std::string_view text;  ///< any bytes; what is not UTF-8 is shown as U+FFFD
  Font font;
  double textScale = 1;
  /// Absent for as wide as it likes.
  std::optional<double> width;
  /// Absent for as many as needed.
  std::optional<int> lineLimit;
  TruncationMode truncation = TruncationMode::tail;
};

struct TextMetrics {
  Size size;
  double baseline = 0;   ///< of the first line, from the top
  double capHeight = 0;  ///< of its font
  bool isTruncated = false;
};

/// Glyphs with their places, immutable, safe to paint on any thread. Remembered by request, a
/// bounded number for each thread.
///
/// A limit of one line shows line breaks as spaces; with a higher limit the rest of the text is
/// joined into the last line that way. No text is wrapped narrower than one em, and the width of
/// a text that may wrap is at most 50,000 points. What lies far outside of width and limit isn't
/// looked at; without a limit, 65,536 bytes and 4,096 lines are shown. A size of zero or one that
/// is not a number gives nothing to see.
std::shared_ptr<const ShapedText> shapeText(const TextRequest& request);
const TextMetrics& metricsOf(const ShapedText& text);

}  // namespace idlewyn::platform::internal

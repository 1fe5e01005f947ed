// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include <cairo.h>

#include <IdlewynKit/platform/view/internal/text/TextShaping.hpp>

namespace idlewyn::platform::internal {

using ScaledFont = std::shared_ptr<cairo_scaled_font_t>;

/// Glyphs of one font, placed from the top left of the text's box.
struct GlyphRun {
  ScaledFont font;
  std::vector<cairo_glyph_t> glyphs;
  bool hasColors = false;  ///< glyphs are pictures
};

/// Nothing in it belongs to the thread that shaped it: Cairo counts and locks its fonts itself.
class ShapedText {
 public:
  ShapedText(TextMetrics metrics, std::vector<GlyphRun> runs, std::vector<Rect> missing)
      : metrics_(metrics), runs_(std::move(runs)), missing_(std::move(missing)) {}

  const TextMetrics& metrics() const noexcept { return metrics_; }
  const std::vector<GlyphRun>& runs() const noexcept { return runs_; }
  /// Where characters stand that no font has.
  const std::vector<Rect>& missing() const noexcept { return missing_; }

 private:
  TextMetrics metrics_;
  std::vector<GlyphRun> runs_;
  std::vector<Rect> missing_;
};

}  // namespace idlewyn::platform::internal

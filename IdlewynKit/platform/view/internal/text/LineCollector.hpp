// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include <pango/pangocairo.h>

#include <IdlewynKit/platform/view/internal/text/ShapedText.hpp>

namespace idlewyn::platform::internal {

class FontContext;

/// Takes Pango's lines apart into glyphs with places.
class LineCollector {
 public:
  LineCollector(FontContext& context, bool hasMonospacedDigits)
      : context_(context), hasMonospacedDigits_(hasMonospacedDigits) {}

  /// `text` is the layout's. Points, from the top of the box.
  void add(PangoLayoutLine* line, std::string_view text, double baseline);
  /// Lines from right to left are moved to the right edge. Leaves the collector empty.
  ShapedText finish(TextMetrics metrics);

 private:
  struct Line {
    std::size_t firstRun;
    std::size_t firstMissing;
    double width;
    bool isRightToLeft;
  };

  void addRun(const PangoGlyphItem& item, std::string_view text, double baseline);
  void place(const PangoGlyphInfo& glyph, PangoFont* font, double baseline);
  GlyphRun& runOf(PangoFont* font);
  int widening(const PangoGlyphItem& item, int index, std::string_view text);

  FontContext& context_;
  bool hasMonospacedDigits_;
  std::vector<Line> lines_;
  std::vector<GlyphRun> runs_;
  std::vector<Rect> missing_;
  double x_ = 0;
  double width_ = 0;
};

}  // namespace idlewyn::platform::internal

// SPDX-License-Identifier: MIT
#pragma once

#include <IdlewynKit/platform/view/internal/paint/CairoPointer.hpp>
#include <IdlewynKit/platform/view/internal/text/ShapedText.hpp>

namespace idlewyn::platform::internal {

/// Pixels of glyphs, to be painted through with their top left on a whole pixel.
struct PlacedMask {
  /// Absent where nothing is to be seen.
  CairoSurface surface;
  int left = 0;
  int top = 0;
};

/// A run's glyphs at quarters of a pixel along the line and on whole pixels across: Cairo moves
/// each to a whole pixel, which at few pixels a point makes the gaps between letters uneven.
/// `origin` and `visible` are in pixels. False where Cairo has to draw them: glyphs with colours
/// of their own, and large ones, whose gaps nobody can tell from even ones.
bool maskOf(const GlyphRun& run, double scale, Point origin, const Rect& visible,
            PlacedMask& result);

}  // namespace idlewyn::platform::internal

// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

#include <cairo.h>

#include <IdlewynKit/platform/view/internal/paint/LayerSpans.hpp>
#include <IdlewynKit/platform/view/internal/text/ShapedText.hpp>

namespace idlewyn::platform::internal {

/// Draws operations onto one target. Layers with filters get a drawer of their own.
class FrameDrawer {
 public:
  /// `scale`: pixels a point, where the target itself doesn't say.
  FrameDrawer(const std::vector<DrawOperation>& operations, const LayerSpans& layers,
              cairo_t* target, double scale);

  /// Those from `begin` up to `end` that touch `visible`.
  void drawRange(std::size_t begin, std::size_t end, const Rect& visible);

 private:
  /// The pixels of the target: `scale` of them a point, the user space's origin at an offset.
  struct PixelGrid {
    double scale;
    double x;
    double y;
  };

  void drawOperation(const TextOperation& operation);
  void drawOperation(const SymbolOperation& operation);
  void drawOperation(const CapsuleOperation& operation);
  void drawOperation(const RectangleOperation& operation);
  void drawOperation(const LayerBegin&) {}
  void drawOperation(const LayerEnd&) {}

  void drawTranslucent(const LayerBegin& layer, std::size_t begin, std::size_t end,
                       const Rect& rect);
  void drawFiltered(const LayerBegin& layer, std::size_t begin, std::size_t end, const Rect& rect);
  void drawBand(const LayerBegin& layer, std::size_t begin, std::size_t end, const Rect& pixels);

  void setSource(const Paint& paint);
  bool showMasks(const GlyphRun& run, Point origin);
  void showMask(cairo_surface_t* mask, double left, double top);
  void findGrid(double scale);

  const std::vector<DrawOperation>& operations_;
  const LayerSpans& layers_;
  cairo_t* target_;
  Rect visible_;
  PixelGrid grid_{1, 0, 0};
  bool isOnGrid_ = false;  ///< else it may be shown at any scale
  bool takesMasks_ = false;
  bool takesTextMasks_ = false;
};

}  // namespace idlewyn::platform::internal

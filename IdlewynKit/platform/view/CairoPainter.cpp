// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/CairoPainter.hpp>

#include <cairo.h>

#include <IdlewynKit/platform/view/internal/paint/FrameDrawer.hpp>

namespace idlewyn::platform {
namespace {

/// How far around the frame what overflows it is still drawn.
constexpr double overflow = 64;

class SavedState {
 public:
  explicit SavedState(cairo_t* target) : target_(target) { cairo_save(target_); }
  SavedState(const SavedState&) = delete;
  SavedState& operator=(const SavedState&) = delete;
  ~SavedState() { cairo_restore(target_); }

 private:
  cairo_t* target_;
};

Rect clipOf(cairo_t* target) {
  Rect clip;
  double right = 0;
  double bottom = 0;
  cairo_clip_extents(target, &clip.origin.x, &clip.origin.y, &right, &bottom);
  clip.size = {right - clip.origin.x, bottom - clip.origin.y};
  return clip;
}

}  // namespace

void draw(const Frame& frame, cairo_t* target, double scale) {
  const internal::LayerSpans layers(frame.operations);
  const SavedState saved(target);
  const Rect around{{-overflow, -overflow},
                    {frame.size.width + 2 * overflow, frame.size.height + 2 * overflow}};
  const double usable = scale > 0 && scale <= 1000 ? scale : 1;
  internal::FrameDrawer(frame.operations, layers, target, usable)
      .drawRange(0, frame.operations.size(), internal::intersection(around, clipOf(target)));
  if (const cairo_status_t status = cairo_status(target); status != CAIRO_STATUS_SUCCESS)
    throw PaintError(PaintError::Code::drawingFailed, cairo_status_to_string(status));
}

}  // namespace idlewyn::platform

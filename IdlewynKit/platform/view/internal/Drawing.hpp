// SPDX-License-Identifier: MIT
#pragma once

#include <cairo.h>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/view/Frame.hpp>

namespace idlewyn::platform {

/// Draws the frame with its top left at the target's origin; the target's unit is a point.
/// `scale` is the pixels a point that layers with filters and the masks of symbols get; a
/// target may not know it itself. Throws PaintError (too many nested layers); the target's
/// state is as before.
IDLEWYNKIT_EXPORT void draw(const Frame& frame, cairo_t* target, double scale);

}  // namespace idlewyn::platform

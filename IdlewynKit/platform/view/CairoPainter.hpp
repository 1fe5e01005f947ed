// SPDX-License-Identifier: MIT
#pragma once

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/view/Frame.hpp>
#include <IdlewynKit/platform/view/Painter.hpp>

/// Draws frames on a Cairo context, for hosts that have one: toolkits, printers, compositors.
///
///     draw(host.frame(view, environment, proposal, DateClock::now()), context, 2.0);
///
/// `cairo_t` is declared here, so that this header needs none of Cairo's.
using cairo_t = struct _cairo;  // NOLINT(bugprone-reserved-identifier): Cairo's own name

namespace idlewyn::platform {

/// Draws the frame with its top left at the target's origin; the target's unit is a point.
/// `scale` is the pixels a point that layers with filters and the masks of symbols get, because
/// a target may not know it. Without a sensible scale, 1 is used. Throws PaintError (too many
/// nested layers); the target's state is as before.
IDLEWYNKIT_EXPORT void draw(const Frame& frame, cairo_t* target, double scale);

}  // namespace idlewyn::platform

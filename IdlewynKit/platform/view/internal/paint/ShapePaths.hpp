// SPDX-License-Identifier: MIT
#pragma once

#include <cairo.h>

#include <IdlewynKit/platform/view/Geometry.hpp>

namespace idlewyn::platform::internal {

/// Adds a capsule to the path, its round ends at the shorter sides. A continuous one has ends
/// whose curvature sets in without a jump.
void addCapsule(cairo_t* target, const Rect& rect, bool isContinuous);

/// Adds a rectangle with round corners; a radius that is too long is shortened.
void addRectangle(cairo_t* target, const Rect& rect, double cornerRadius);

}  // namespace idlewyn::platform::internal

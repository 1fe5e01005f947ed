// SPDX-License-Identifier: MIT
#pragma once

#include <cairo.h>

#include <IdlewynKit/platform/view/Geometry.hpp>
#include <IdlewynKit/platform/view/Symbols.hpp>

namespace idlewyn::platform::internal {

/// Fills the symbol's outlines into `box` with the target's source.
void drawSymbol(cairo_t* target, SymbolName symbol, const Rect& box);

/// The largest symbol, in pixels, of which a mask is kept.
inline constexpr int maximumMaskSize = 512;

/// The symbol as an alpha mask of `pixels` squared. Remembered for each thread; valid until this
/// thread's next call. Null where memory is short.
cairo_surface_t* symbolMask(SymbolName symbol, int pixels);

}  // namespace idlewyn::platform::internal

// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include <cairo.h>

namespace idlewyn::platform::internal {

struct CairoDestroy {
  void operator()(cairo_t* target) const noexcept { cairo_destroy(target); }
  void operator()(cairo_surface_t* surface) const noexcept { cairo_surface_destroy(surface); }
};
using CairoContext = std::unique_ptr<cairo_t, CairoDestroy>;
using CairoSurface = std::unique_ptr<cairo_surface_t, CairoDestroy>;

}  // namespace idlewyn::platform::internal

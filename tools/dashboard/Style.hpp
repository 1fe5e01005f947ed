// SPDX-License-Identifier: MIT
#pragma once

#include <gtk/gtk.h>

namespace dashboard {

/// Gives the display the window's look in light, dark and night; made of the design tokens.
void installStyle(GdkDisplay* display);

}  // namespace dashboard

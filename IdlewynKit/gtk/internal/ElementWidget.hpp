// SPDX-License-Identifier: MIT
#pragma once

#include <gtk/gtk.h>

#include <IdlewynKit/platform/view/Frame.hpp>

namespace idlewyn::gtk {

/// An invisible widget that stands for one accessible element: only widgets can be accessible
/// objects, and their role is fixed when they are made. Floating.
GtkWidget* makeElementWidget(const platform::AccessibleElement& element);

/// False when the element needs another widget, its role being another one.
bool fits(GtkWidget* widget, const platform::AccessibleElement& element);

void tellName(GtkWidget* widget, const std::string& name);
void tellValue(GtkWidget* widget, double value);

}  // namespace idlewyn::gtk

// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>

#include <adwaita.h>

/// The few shapes of widgets that the window's parts have in common.
namespace dashboard {

GtkWidget* makeBox(GtkAccessibleRole role, int spacing);
/// A text that wraps anywhere rather than widen the window.
GtkWidget* makeText(const std::string& text, GtkAccessibleRole role = GTK_ACCESSIBLE_ROLE_LABEL);
/// A pill that calls `pressed` for as long as it lives.
GtkWidget* makeButton(const char* label, std::function<void()> pressed);
/// Takes the text as it is, where libadwaita would read markup.
void setDescription(AdwStatusPage* page, const std::string& text);
/// As wide as text is comfortable to read, with a margin in narrow windows.
GtkWidget* makeClamp(GtkWidget* child);
void setAccessibleName(GtkWidget* widget, const std::string& name);
/// Calls `done` at each emission of a signal without arguments.
void connect(gpointer object, const char* signal, std::function<void()> done);

}  // namespace dashboard

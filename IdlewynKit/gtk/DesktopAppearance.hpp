// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/view/Color.hpp>

/// The desktop's light or dark, for the parts of a window that are not views.
///
///     auto observation = observeDesktop([&] { style(desktopAppearance()); });
namespace idlewyn::gtk {

/// From the desktop's settings portal, or GTK's theme where there is none. GTK's thread only,
/// after gtk_init; until the portal has answered it is the theme's.
IDLEWYNKIT_EXPORT platform::Appearance desktopAppearance();

/// Calls `changed` on GTK's thread after each change of appearance, text size or the animation
/// switch, for as long as the result lives; let go of it on that thread too. `changed` may begin
/// and end observations, its own among them: what was ended is not called any more, what was
/// begun hears of the next change. It must not throw: GTK's C functions call it.
IDLEWYNKIT_EXPORT std::shared_ptr<void> observeDesktop(std::function<void()> changed);

}  // namespace idlewyn::gtk

// SPDX-License-Identifier: MIT
#include <IdlewynKit/gtk/DesktopAppearance.hpp>

#include <utility>

#include <IdlewynKit/gtk/internal/DesktopSettings.hpp>

namespace idlewyn::gtk {

platform::Appearance desktopAppearance() { return DesktopSettings::shared().appearance(); }

std::shared_ptr<void> observeDesktop(std::function<void()> changed) {
  return DesktopSettings::shared().observe(std::move(changed));
}

}  // namespace idlewyn::gtk

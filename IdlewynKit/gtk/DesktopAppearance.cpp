// SPDX-License-Identifier: MIT
#include <IdlewynKit/gtk/DesktopAppearance.hpp>

#include <utility>

#include <IdlewynKit/gtk/internal/DesktopSettings.hpp>

namespace idlewyn::gtk {

platform::Appearance desktopAppearance() { return DesktopSettings::shared().appearance(); }

std::shared_ptr<void> observeDesktop(std::function<void()> changed) {
  using Observation = DesktopSettings::Observation;
  return std::shared_ptr<Observation>(
      new Observation(DesktopSettings::shared().observe(std::move(changed))),
      [](Observation* observation) {
        DesktopSettings::shared().endObservation(*observation);
        delete observation;
      });
}

}  // namespace idlewyn::gtk

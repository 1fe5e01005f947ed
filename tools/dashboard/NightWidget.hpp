// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <utility>

#include <IdlewynKit/UI.hpp>
#include <IdlewynKit/gtk/ViewWidget.hpp>

namespace dashboard {

/// How everything in the window looks.
struct Look {
  bool isNight = false;
  /// Dark at night, whatever the desktop says: the filter makes red of it.
  idlewyn::platform::Appearance appearance = idlewyn::platform::Appearance::light;

  friend bool operator==(const Look&, const Look&) = default;
};

/// A widget that shows one component. It passes on what is new only: to show the same again costs
/// a comparison.
template <std::equality_comparable C>
class NightWidget {
 public:
  GtkWidget* widget() const { return view_.widget(); }

  void show(C component, Look look) {
    if (component_ == component && look_ == look) return;
    component_ = std::move(component);
    look_ = look;
    using idlewyn::platform::Environment;
    const idlewyn::View dressed =
        idlewyn::View(*component_).environment(&Environment::appearance, look.appearance);
    view_.setView(idlewyn::nightMode(dressed, look.isNight));
  }

 private:
  idlewyn::gtk::ViewWidget view_;
  std::optional<C> component_;
  Look look_;
};

}  // namespace dashboard

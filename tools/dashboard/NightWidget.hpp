// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <utility>

#include <IdlewynKit/UI.hpp>
#include <IdlewynKit/gtk/ViewWidget.hpp>

#include <tools/dashboard/Style.hpp>

namespace dashboard {

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

// SPDX-License-Identifier: MIT
#pragma once

#include <gtk/gtk.h>

#include <IdlewynKit/platform/view/Color.hpp>

namespace dashboard {

/// How everything in the window looks.
struct Look {
  bool isNight = false;
  bool hasHighContrast = false;
  /// Dark at night, whatever the desktop says: the filter makes red of it.
  idlewyn::platform::Appearance appearance = idlewyn::platform::Appearance::light;

  friend bool operator==(const Look&, const Look&) = default;
};

/// Light, dark and high contrast, which libadwaita knows, and night, which is red on black. The
/// files in style/ say what it looks like.
class Style {
 public:
  explicit Style(GdkDisplay* display);
  Style(const Style&) = delete;
  Style& operator=(const Style&) = delete;
  ~Style();

  void setNight(bool isNight);
  /// What the desktop and `setNight` make of it.
  Look look() const;

 private:
  GdkDisplay* display_;
  GtkCssProvider* night_;
  bool isNight_ = false;
};

}  // namespace dashboard

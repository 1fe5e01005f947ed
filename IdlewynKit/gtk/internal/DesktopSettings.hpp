// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <gio/gio.h>
#include <gtk/gtk.h>

#include <IdlewynKit/platform/view/Color.hpp>

namespace idlewyn::gtk {

/// What the user has set for the whole desktop. GTK's thread only; made on first use, never
/// destroyed.
class DesktopSettings {
 public:
  static DesktopSettings& shared();

  platform::Appearance appearance() const;
  /// 1 for text of the usual size.
  double textScale() const;
  bool animationsEnabled() const;

  /// See observeDesktop.
  std::shared_ptr<void> observe(std::function<void()> changed);

 private:
  DesktopSettings();
  void askPortal();
  void setColorScheme(GVariant* value);
  void notify();

  static void portalReady(GObject* source, GAsyncResult* result, gpointer self);
  static void portalAnswered(GObject* source, GAsyncResult* result, gpointer self);
  static void portalSignalled(GDBusProxy* proxy, const char* sender, const char* signal,
                              GVariant* parameters, gpointer self);

  enum class ColorScheme { noPreference, dark, light };

  GtkSettings* settings_;
  GDBusProxy* portal_ = nullptr;
  ColorScheme colorScheme_ = ColorScheme::noPreference;
  using Observer = std::shared_ptr<std::function<void()>>;
  std::vector<Observer> observers_;
};

}  // namespace idlewyn::gtk

// SPDX-License-Identifier: MIT
#pragma once

#include <gtk/gtk.h>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/view/Environment.hpp>
#include <IdlewynKit/platform/view/View.hpp>

/// Views in GTK 4 windows.
///
///     ViewWidget badge(ProviderBadge(AgentProvider::codex, false));
///     gtk_box_append(GTK_BOX(box), badge.widget());
///     badge.setView(ProviderBadge(AgentProvider::claude, false));   // later
namespace idlewyn::gtk {

/// A widget that shows one view. Copies stand for the same widget and keep it alive. It is drawn
/// again when its view changes, while something in it moves, and at the moment when its picture
/// changes by itself: an idle widget draws nothing. To screen readers it is a group of the
/// view's accessible elements. It follows the desktop's dark setting, text size and animation
/// switch, live. A view whose body throws is shown as nothing until the next change. To be used on
/// GTK's thread only, after gtk_init.
class IDLEWYNKIT_EXPORT ViewWidget {
 public:
  explicit ViewWidget(platform::View view = {});
  ViewWidget(const ViewWidget& other);
  ViewWidget& operator=(const ViewWidget& other);
  ~ViewWidget();

  /// Any container may take it, as it takes other new widgets.
  GtkWidget* widget() const noexcept { return widget_; }

  void setView(platform::View view);
  /// What surrounds the view, save for what the desktop decides: `appearance`, `textScale` and
  /// `animationsEnabled`.
  void setEnvironment(platform::Environment environment);

 private:
  GtkWidget* widget_;
};

}  // namespace idlewyn::gtk

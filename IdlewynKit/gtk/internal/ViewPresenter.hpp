// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtk/gtk.h>

#include <IdlewynKit/gtk/internal/DesktopSettings.hpp>
#include <IdlewynKit/platform/view/Host.hpp>

namespace idlewyn::gtk {

/// What a view widget does, without GObject: frames when they are due, the accessible children,
/// the sizes. The widget owns its presenter and calls it from its virtual functions.
class ViewPresenter {
 public:
  explicit ViewPresenter(GtkWidget* widget);
  ViewPresenter(const ViewPresenter&) = delete;
  ViewPresenter& operator=(const ViewPresenter&) = delete;
  ~ViewPresenter();

  void setView(platform::View view);
  void setEnvironment(platform::Environment environment);

  /// Least and natural length in points; `other` is the length across, or -1.
  std::pair<int, int> measure(GtkOrientation orientation, int other);
  void allocate(int width, int height);
  void snapshot(GtkSnapshot* snapshot);
  void setMapped(bool isMapped);
  /// Lets go of the children: the widget is about to go.
  void dispose();

 private:
  enum class Cause { change, time };

  void followDesktop();
  using Names = std::vector<std::string>;
  /// `expected`: when a view has taken the place of another, the names that the other would have
  /// now.
  void update(Cause cause, const Names* expected = nullptr);
  /// The next frame at the moment when it is due, or at once while something moves.
  void schedule();
  void stopClock();
  void showElements(const Names* expected = nullptr);
  void rebuildElements();
  void placeElements();
  platform::Point origin() const;
  platform::Frame still(const platform::Proposal& proposal) const;
  platform::Frame next();

  GtkWidget* widget_;
  platform::View view_;
  platform::Environment environment_;
  platform::Host host_;
  platform::Frame frame_;
  platform::Size allocated_;
  std::optional<platform::Size> ideal_;
  std::map<std::pair<GtkOrientation, int>, std::pair<int, int>> measured_;
  bool isMapped_ = false;

  struct Element {
    GtkWidget* widget;
    std::string name;
    std::optional<double> value;
  };
  std::vector<Element> elements_;
  gint64 toldAt_ = 0;

  guint tick_ = 0;
  guint timeout_ = 0;
  guint rebuild_ = 0;
  std::shared_ptr<void> observation_;
};

}  // namespace idlewyn::gtk

// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

#include <adwaita.h>

#include <tools/dashboard/DashboardModel.hpp>

namespace dashboard {

/// What stands in the window's place when there is no session to show: why, and what can be done.
class StagePage {
 public:
  StagePage(DashboardModel& model, std::function<void()> tryAgain);
  StagePage(const StagePage&) = delete;
  StagePage& operator=(const StagePage&) = delete;
  ~StagePage();

  GtkWidget* widget() const { return GTK_WIDGET(page_); }
  /// For the stages that have no sessions and need no pairing.
  void show();

 private:
  DashboardModel& model_;
  AdwStatusPage* page_;
  GtkWidget* spinner_;
  GtkWidget* again_;
};

}  // namespace dashboard

// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtk/gtk.h>

#include <IdlewynKit/gtk/DesktopAppearance.hpp>

#include <tools/dashboard/CardView.hpp>
#include <tools/dashboard/DashboardModel.hpp>
#include <tools/dashboard/NightWidget.hpp>
#include <tools/dashboard/SessionCard.hpp>

namespace dashboard {

/// The window: the lead on top, what went wrong below it, then a card for each session in display
/// order. Lives until the window is closed.
class DashboardWindow {
 public:
  DashboardWindow(GtkApplication* application, std::shared_ptr<DashboardModel> model);
  DashboardWindow(const DashboardWindow&) = delete;
  DashboardWindow& operator=(const DashboardWindow&) = delete;
  ~DashboardWindow();

  GtkWindow* window() const { return window_; }

 private:
  void addShortcuts(GtkApplication* application);
  GtkWidget* makeHeader();
  GtkWidget* makeContent();
  void show();
  void showCards();
  void showTroubles();
  void tell(const std::string& message);
  void setNight(bool isNight);
  void followDesktop();
  void dress(idlewyn::platform::Appearance appearance);
  void remember() const;

  std::shared_ptr<DashboardModel> model_;
  GtkWindow* window_;
  GtkWidget* title_ = nullptr;
  GtkWidget* cards_ = nullptr;
  GtkWidget* troubles_ = nullptr;
  GtkWidget* told_ = nullptr;
  NightWidget<HeadlineView> headline_;
  using CardKey = std::pair<idlewyn::AgentProvider, std::string>;
  std::map<CardKey, std::unique_ptr<SessionCard>> shown_;
  std::vector<CardKey> order_;
  std::vector<std::unique_ptr<NightWidget<TroubleView>>> troubleLines_;
  std::shared_ptr<void> desktop_;
  guint forget_ = 0;
  guint dress_ = 0;
  Look look_;
};

}  // namespace dashboard

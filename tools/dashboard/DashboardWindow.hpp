// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>

#include <adwaita.h>

#include <tools/dashboard/DashboardModel.hpp>
#include <tools/dashboard/PairingPage.hpp>
#include <tools/dashboard/SessionsPage.hpp>
#include <tools/dashboard/StagePage.hpp>
#include <tools/dashboard/Style.hpp>

namespace dashboard {

/// The window: one page at a time, and over it what is told once. Lives until it is closed.
class DashboardWindow {
 public:
  DashboardWindow(AdwApplication* application, std::shared_ptr<DashboardModel> model);
  DashboardWindow(const DashboardWindow&) = delete;
  DashboardWindow& operator=(const DashboardWindow&) = delete;
  ~DashboardWindow();

  GtkWindow* window() const { return window_; }
  /// Asks about pairing by this link. Nothing is sent before a person agrees.
  void offerPairing(const std::string& link);
  /// Brings this question to view as soon as it is known.
  void goToPrompt(const std::string& promptID);

 private:
  GtkWidget* makeHeader();
  GtkWidget* makeContent();
  void addActions(GtkApplication* application);
  void addSwitch(const char* name, bool isOn, void (*changed)(DashboardWindow&, bool));
  void show();
  void showPage(GtkWidget* page);
  void tell(const std::string& message, bool isFailure);
  void setPairing(bool isPairing);
  void setNight(bool isNight);
  void remember() const;

  std::shared_ptr<DashboardModel> model_;
  GtkWindow* window_;
  Style style_;
  AdwWindowTitle* title_ = nullptr;
  GtkWidget* back_ = nullptr;
  AdwToastOverlay* overlay_ = nullptr;
  SessionsPage sessions_;
  StagePage stage_;
  PairingPage pairing_;
  /// A person asked for the page, though agents are paired.
  bool isPairing_ = false;
  std::string wanted_;
};

}  // namespace dashboard

// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <tools/dashboard/DashboardModel.hpp>
#include <tools/dashboard/PromptList.hpp>
#include <tools/dashboard/SessionCard.hpp>

namespace dashboard {

/// What needs a person, then the open questions, then what went wrong, then a card for each session
/// in display order. Nothing above the questions changes its height while they are open.
class SessionsPage {
 public:
  explicit SessionsPage(DashboardModel& model);
  SessionsPage(const SessionsPage&) = delete;
  SessionsPage& operator=(const SessionsPage&) = delete;
  ~SessionsPage();

  GtkWidget* widget() const { return scrolled_; }
  void show(Look look);
  /// Brings the keyboard to the headline: from there one Tab leads to the first question.
  void focus();
  /// Brings the keyboard, and with it the view, to that question. False when it is not there.
  bool goTo(const std::string& promptID);
  /// The questions take no answer for a second.
  void guard() { prompts_.guard(); }

 private:
  using CardKey = std::pair<idlewyn::AgentProvider, std::string>;

  void makeParts();
  GtkWidget* makeDemoBanner();
  void showHeadline(const idlewyn::command::OldAgents& old, Look look);
  void showTroubles(Look look);
  void showCards(const idlewyn::command::OldAgents& old, Look look);
  void order(const std::vector<CardKey>& keys);

  DashboardModel& model_;
  GtkWidget* scrolled_;
  GtkWidget* column_;
  PromptList prompts_;
  GtkWidget* demo_;
  GtkWidget* troubles_;
  GtkWidget* cards_;
  NightWidget<HeadlineView> headline_;
  std::map<CardKey, std::unique_ptr<SessionCard>> shown_;
  std::vector<CardKey> order_;
  std::vector<std::unique_ptr<NightWidget<TroubleView>>> troubleLines_;
};

}  // namespace dashboard

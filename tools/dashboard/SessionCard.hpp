// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include <gtk/gtk.h>

#include <IdlewynKit/model/AgentSession.hpp>

#include <tools/dashboard/CardView.hpp>
#include <tools/dashboard/NightWidget.hpp>

namespace dashboard {

/// The card of one session. It outlives the session's changes, so that movements survive them.
class SessionCard {
 public:
  SessionCard();
  SessionCard(const SessionCard&) = delete;
  SessionCard& operator=(const SessionCard&) = delete;
  ~SessionCard();

  GtkWidget* widget() const { return box_; }
  /// With `oldSince` the session is marked.
  void show(const idlewyn::AgentSession& session, std::optional<idlewyn::Date> oldSince, Look look);

 private:
  GtkWidget* box_;
  NightWidget<CardView> view_;
  std::string name_;
};

}  // namespace dashboard

// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>
#include <string>

#include <gtk/gtk.h>

#include <IdlewynKit/model/AgentSession.hpp>

#include <tools/dashboard/CardView.hpp>
#include <tools/dashboard/NightWidget.hpp>

namespace dashboard {

/// The widgets of one session: its card and, while it asks, the question and three buttons. It
/// outlives the session's changes, so that movements and the keyboard's place survive them.
class SessionCard {
 public:
  using Answer = std::function<void(idlewyn::PermissionDecision)>;

  explicit SessionCard(Answer answer);
  SessionCard(const SessionCard&) = delete;
  SessionCard& operator=(const SessionCard&) = delete;
  ~SessionCard();

  GtkWidget* widget() const { return box_; }
  /// With `oldSince` the session is marked, and what it asks is not offered.
  void show(const idlewyn::AgentSession& session, std::optional<idlewyn::Date> oldSince,
            bool isAnswering, Look look);

 private:
  void makePrompt(const idlewyn::PermissionPrompt& prompt);
  GtkWidget* addButton(const char* label, const char* style, idlewyn::PermissionDecision decision,
                       const idlewyn::PermissionPrompt& prompt);

  Answer answer_;
  GtkWidget* box_;
  NightWidget<CardView> view_;
  std::string name_;
  GtkWidget* prompt_ = nullptr;
  GtkWidget* buttons_ = nullptr;
  std::optional<idlewyn::PermissionPrompt> shown_;
};

}  // namespace dashboard

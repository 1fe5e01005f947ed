// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>

#include <gtk/gtk.h>

#include <IdlewynKit/gtk/ViewWidget.hpp>
#include <IdlewynKit/model/AgentSession.hpp>

namespace dashboard {

/// The widgets of one session: its card and, while it asks, the question and three buttons. It
/// outlives the session's changes, so that movements and the keyboard's place survive them.
class SessionCard {
 public:
  using Answer = std::function<void(idlewyn::PermissionDecision)>;

  SessionCard(const idlewyn::AgentSession& session, Answer answer);
  SessionCard(const SessionCard&) = delete;
  SessionCard& operator=(const SessionCard&) = delete;
  ~SessionCard();

  GtkWidget* widget() const { return box_; }
  void show(const idlewyn::AgentSession& session, bool isAnswering, bool isNight);

 private:
  void makePrompt(const idlewyn::PermissionPrompt& prompt);
  GtkWidget* addButton(const char* label, const char* style, idlewyn::PermissionDecision decision,
                       const idlewyn::PermissionPrompt& prompt);

  Answer answer_;
  GtkWidget* box_;
  idlewyn::gtk::ViewWidget view_;
  GtkWidget* prompt_ = nullptr;
  GtkWidget* buttons_ = nullptr;
  std::optional<idlewyn::PermissionPrompt> shown_;
};

}  // namespace dashboard

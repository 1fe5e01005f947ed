// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <gtk/gtk.h>

#include <IdlewynKit/model/AgentSession.hpp>

#include <tools/dashboard/CardView.hpp>
#include <tools/dashboard/NightWidget.hpp>

namespace dashboard {

/// A question as it was asked: another text is another question.
struct OpenPrompt {
  idlewyn::AgentProvider provider;
  std::string sessionID;
  std::string project;
  idlewyn::PermissionPrompt prompt;

  bool isSame(const OpenPrompt& other) const {
    return provider == other.provider && sessionID == other.sessionID && prompt == other.prompt;
  }
};

/// A question with its buttons. It shows one question for as long as it lives. The buttons take
/// nothing for a second after the card came, moved or was changed: a click that was aimed at
/// something else does not answer it.
class PromptCard {
 public:
  using Answer = std::function<void(const OpenPrompt&, idlewyn::PermissionDecision)>;

  PromptCard(OpenPrompt prompt, Answer answer);
  PromptCard(const PromptCard&) = delete;
  PromptCard& operator=(const PromptCard&) = delete;
  ~PromptCard();

  GtkWidget* widget() const { return box_; }
  const OpenPrompt& prompt() const { return prompt_; }
  bool isEnded() const { return isEnded_; }
  /// Brings the keyboard to the question, not to an answer.
  void focus();
  bool hasFocus() const { return focusInside() != nullptr; }

  void show(bool isAnswering, Look look);
  /// The question can't be answered any more. The card keeps its size.
  void end();
  /// Takes nothing for a second.
  void guard();
  /// Guards when the buttons are not where they were.
  void notePlace(GtkWidget* inside);

 private:
  void makeButtons();
  GtkWidget* makeAnswer(const char* label, idlewyn::PermissionDecision decision);
  void addShortcuts();
  void press(idlewyn::PermissionDecision decision);
  void copy() const;
  void update();
  GtkWidget* focusInside() const;

  const OpenPrompt prompt_;
  const Answer answer_;
  GtkWidget* box_;
  GtkWidget* buttons_ = nullptr;
  std::vector<GtkWidget*> answers_;
  NightWidget<AskerView> asker_;
  NightWidget<QuestionView> question_;
  NightWidget<RuleView> rule_;
  Look look_;
  bool isOpen_ = true;
  bool isEnded_ = false;
  bool isAnswering_ = false;
  /// Of the buttons; nothing before they were placed.
  std::optional<graphene_rect_t> place_;
  guint guard_ = 0;
  /// The button that had the keyboard when the buttons stopped taking anything.
  GtkWidget* focused_ = nullptr;
};

}  // namespace dashboard

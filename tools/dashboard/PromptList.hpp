// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <tools/dashboard/PromptCard.hpp>

namespace dashboard {

/// All open questions, the oldest on top. A question keeps its place for as long as it is open, and
/// new ones come below. One that has ended keeps its place too while the pointer is over the list:
/// nothing moves under it.
class PromptList {
 public:
  /// `inside` is what the list scrolls in; a card that moves in it is guarded.
  PromptList(GtkWidget* inside, PromptCard::Answer answer);
  PromptList(const PromptList&) = delete;
  PromptList& operator=(const PromptList&) = delete;
  ~PromptList();

  GtkWidget* widget() const { return box_; }
  bool isEmpty() const { return cards_.empty(); }
  /// Called when cards went away because the pointer has left.
  std::function<void()> swept;
  /// Called with the keyboard in a card that goes away; it has to give it another place.
  std::function<void()> losesFocus;

  void show(std::vector<idlewyn::AgentSession> sessions,
            const std::function<bool(const std::string&)>& isAnswering, Look look);
  /// Brings the keyboard, and with it the view, to that question. False when it is not there.
  bool goTo(const std::string& promptID);
  /// No question takes an answer for a second.
  void guard();

 private:
  PromptCard* card(const OpenPrompt& prompt);
  PromptCard* find(const std::string& promptID) const;
  void sweep();
  void sweepSoon();
  bool isPointed() const;
  static void placed(GdkFrameClock* clock, gpointer self);
  void follow(GdkFrameClock* clock);

  GtkWidget* box_;
  GtkWidget* inside_;
  GtkEventController* pointer_;
  GdkFrameClock* clock_ = nullptr;
  gulong layout_ = 0;
  guint sweep_ = 0;
  const PromptCard::Answer answer_;
  /// Gets the keyboard as soon as it has its place.
  std::string wanted_;
  std::vector<std::unique_ptr<PromptCard>> cards_;
};

}  // namespace dashboard

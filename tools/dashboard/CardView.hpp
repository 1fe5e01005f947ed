// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include <IdlewynKit/UI.hpp>
#include <IdlewynKit/model/SessionSnapshot.hpp>

#include <tools/dashboard/DashboardModel.hpp>

/// What the window shows that is drawn, not typed into: each a view of the library's own parts.
namespace dashboard {

/// What matters most, in one line: its height never changes, so that nothing below it moves.
struct HeadlineView {
  idlewyn::View body() const;
  friend bool operator==(const HeadlineView&, const HeadlineView&) = default;

  std::string summary;
  idlewyn::SessionStatus status;
};

/// One session, as wide as its card.
struct CardView {
  idlewyn::View body() const;
  friend bool operator==(const CardView&, const CardView&) = default;

  idlewyn::AgentSession session;
  /// When its agent, which does not answer, was last seen.
  std::optional<idlewyn::Date> oldSince;
};

/// Who asks, in one line, and what has become of the question.
struct AskerView {
  idlewyn::View body() const;
  friend bool operator==(const AskerView&, const AskerView&) = default;

  std::string text;
  bool isOpen;
};

/// What is asked, whole.
struct QuestionView {
  idlewyn::View body() const;
  friend bool operator==(const QuestionView&, const QuestionView&) = default;

  std::string toolName;
  std::string detail;
};

/// What "always" would allow from then on.
struct RuleView {
  idlewyn::View body() const;
  friend bool operator==(const RuleView&, const RuleView&) = default;

  std::string rule;
};

/// What went wrong, and the age of what is still shown of the agent.
struct TroubleView {
  idlewyn::View body(const idlewyn::platform::Environment& environment) const;
  friend bool operator==(const TroubleView&, const TroubleView&) = default;

  Trouble trouble;
};

}  // namespace dashboard

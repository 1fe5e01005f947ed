// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include <IdlewynKit/UI.hpp>
#include <IdlewynKit/model/SessionSnapshot.hpp>

#include <tools/dashboard/DashboardModel.hpp>

/// What the window shows that is drawn, not typed into: each a view of the library's own parts.
namespace dashboard {

/// What matters most, in a line.
struct HeadlineView {
  idlewyn::View body() const;
  friend bool operator==(const HeadlineView&, const HeadlineView&) = default;

  idlewyn::SnapshotLead lead;
};

/// One session, as wide as its card.
struct CardView {
  idlewyn::View body() const;
  friend bool operator==(const CardView&, const CardView&) = default;

  idlewyn::AgentSession session;
  /// When its agent, which does not answer, was last seen.
  std::optional<idlewyn::Date> oldSince;
};

/// What went wrong, and the age of what is still shown of the agent.
struct TroubleView {
  idlewyn::View body(const idlewyn::platform::Environment& environment) const;
  friend bool operator==(const TroubleView&, const TroubleView&) = default;

  Trouble trouble;
};

}  // namespace dashboard

// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/model/AgentSession.hpp>
#include <IdlewynKit/platform/view/View.hpp>

/// How long a turn has run, or how long ago a session was updated; both keep themselves current.
///
///     ElapsedLabel(session)
///     ElapsedLabel(turnStartedAt, updatedAt)   // 4:07, then 1:04:07
///     ElapsedLabel(updatedAt)                  // 2 hr, 14 min
namespace idlewyn {

using platform::View;

/// Font, colour and line limit are those of its surroundings; digits have one width.
struct ElapsedLabel {
  /// A start later than `distantFuture`, or one that is not a number, counts as absent.
  IDLEWYNKIT_EXPORT ElapsedLabel(std::optional<Date> runningSince, Date updatedAt);
  IDLEWYNKIT_EXPORT explicit ElapsedLabel(Date updatedAt);
  /// The turn's time while the session works and says when it began, else its last update.
  IDLEWYNKIT_EXPORT explicit ElapsedLabel(const AgentSession& session);

  IDLEWYNKIT_EXPORT View body() const;

  friend bool operator==(const ElapsedLabel&, const ElapsedLabel&) = default;

  std::optional<Date> runningSince;
  Date updatedAt;
};

}  // namespace idlewyn

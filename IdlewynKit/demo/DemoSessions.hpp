// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/model/AgentSession.hpp>

/// A believable, moving list of sessions without a relay.
///
///     auto sessions = DemoSessions::sessions(AgentProvider::claude, DateClock::now());
namespace idlewyn {

using platform::DateClock;

struct DemoSessions {
  DemoSessions() = delete;

  /// A pure function: equal at the same instant, moving through working, waiting for input and
  /// finished as time passes. Dates before 1970 fall into the same cycle continued backwards;
  /// a date that is not a finite number reads as 1970-01-01.
  IDLEWYNKIT_EXPORT static std::vector<AgentSession> sessions(AgentProvider provider, Date at);
};

}  // namespace idlewyn

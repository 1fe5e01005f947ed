// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>
#include <vector>

#include <IdlewynKit/model/SessionSnapshot.hpp>

/// The one rule for what is old: the sessions and prompts of an agent that does not answer. They
/// are marked, their ages stand still, they are not counted as needing anybody, and their prompts
/// are not offered.
namespace idlewyn::command {

/// Each agent that does not answer, with the time of its last answer.
using OldAgents = std::map<AgentProvider, Date>;

/// The snapshot without the sessions of these agents.
SessionSnapshot live(SessionSnapshot snapshot, const OldAgents& old);

/// The sessions in display order, those of old agents last.
std::vector<AgentSession> inDisplayOrder(const SessionSnapshot& snapshot, const OldAgents& old);

/// What `now` is for a session: the last answer of an agent that is old.
Date ageBase(const AgentSession& session, const OldAgents& old, Date now);

/// One line: what is live, and what needed somebody when an old agent last answered, as in
/// "1 needs you, and 1 of Codex's 5 minutes ago".
std::string summaryOf(const SessionSnapshot& snapshot, const OldAgents& old, Date now);

/// "5 minutes ago"; "40 seconds ago" below a minute; times to come are "0 seconds ago".
std::string agoText(double seconds);

}  // namespace idlewyn::command

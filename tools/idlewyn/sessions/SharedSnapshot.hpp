// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <optional>
#include <tuple>
#include <vector>

#include <IdlewynKit/relay/LiveSessionService.hpp>

#include <tools/idlewyn/records/Records.hpp>
#include <tools/idlewyn/sessions/OldAgents.hpp>

/// The last snapshot, as every process of the product sees it.
namespace idlewyn::command {

struct LastSeen {
  SessionSnapshot snapshot;
  /// When each agent last answered: of one that failed since, the snapshot has older sessions.
  std::map<AgentProvider, Date> answered;
  /// Why the last try of an agent failed; nothing for one that answered.
  std::map<AgentProvider, AgentErrorRecord> errors = {};

  std::vector<AnswerTime> answerTimes() const;
  /// The errors, each with the time of the agent's last answer where that is known.
  std::vector<AgentErrorRecord> errorRecords() const;
  /// Those whose last try failed.
  OldAgents failedAgents() const;
  /// Those, and the agents that nobody has asked for five minutes.
  OldAgents oldAgents(Date now) const;
};

/// Of all agents or, with `only`, of that one; the snapshot is then as old as its answer.
LastSeen lastSeen(std::optional<AgentProvider> only);

/// What is known after a round that asked these agents, of which those with errors failed.
LastSeen lastSeen(const SnapshotResult& result, const std::vector<Connection>& asked,
                  const LastSeen& before);

/// Saves what is known of all agents or, with `only`, of that one; then the sessions of the
/// others stay as they were last seen. Where no agent `hasAnswered`, no session is newer, and only
/// the errors are saved.
void shareLastSeen(LastSeen seen, std::optional<AgentProvider> only, bool hasAnswered);

/// Takes an agent's sessions out: it is not paired any more.
void forgetSessions(AgentProvider provider);

}  // namespace idlewyn::command

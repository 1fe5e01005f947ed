// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <optional>

#include <IdlewynKit/model/SessionSnapshot.hpp>

/// The last snapshot, as every process of the product sees it.
namespace idlewyn::command {

struct LastSeen {
  SessionSnapshot snapshot;
  /// When each agent last answered: of one that failed since, the snapshot has older sessions.
  std::map<AgentProvider, Date> answered;
};

/// Of all agents or, with `only`, of that one; the snapshot is then as old as its answer.
LastSeen lastSeen(std::optional<AgentProvider> only);

/// Saves what is known of all agents or, with `only`, of that one; then the sessions of the
/// others stay as they were last seen. For when somebody has answered: else nothing is newer.
void shareLastSeen(LastSeen seen, std::optional<AgentProvider> only);

/// Takes an agent's sessions out: it is not paired any more.
void forgetSessions(AgentProvider provider);

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#pragma once

#include <optional>

#include <IdlewynKit/model/SessionSnapshot.hpp>

/// The last snapshot, as every process of the product sees it.
namespace idlewyn::command {

/// Saves what was fetched of all agents or, with `only`, of that one; then the sessions of the
/// others stay as they were last seen.
void shareSnapshot(const SessionSnapshot& fetched, std::optional<AgentProvider> only);

/// Takes an agent's sessions out: it is not paired any more.
void forgetSessions(AgentProvider provider);

}  // namespace idlewyn::command

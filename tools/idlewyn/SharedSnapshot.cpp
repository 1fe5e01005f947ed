// SPDX-License-Identifier: MIT
#include "SharedSnapshot.hpp"

#include <IdlewynKit/storage/SnapshotStore.hpp>

namespace idlewyn::command {

void shareSnapshot(const SessionSnapshot& fetched, std::optional<AgentProvider> only) {
  SessionSnapshot shared = fetched;
  // The rest is dropped when all were asked: what is left there is of agents that were unpaired.
  if (only) {
    for (AgentSession& session : SnapshotStore::shared().load().sessions) {
      if (session.provider != *only) shared.sessions.push_back(std::move(session));
    }
  }
  SnapshotStore::shared().save(shared);
}

void forgetSessions(AgentProvider provider) {
  SessionSnapshot shared = SnapshotStore::shared().load();
  const auto removed = std::erase_if(
      shared.sessions, [&](const AgentSession& session) { return session.provider == provider; });
  if (removed == 0) return;
  if (shared.sessions.empty()) return SnapshotStore::shared().clear();
  SnapshotStore::shared().save(shared);
}

}  // namespace idlewyn::command

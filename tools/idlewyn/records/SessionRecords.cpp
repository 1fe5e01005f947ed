// SPDX-License-Identifier: MIT
#include <tools/idlewyn/records/SessionRecords.hpp>

namespace idlewyn::command {

AgentSession offered(AgentSession session) {
  if (session.permission && session.permission->alwaysRule == "") {
    session.permission->alwaysRule.reset();
  }
  return session;
}

std::vector<AgentSession> offered(std::vector<AgentSession> sessions) {
  for (AgentSession& session : sessions)
    session = offered(std::move(session));
  return sessions;
}

}  // namespace idlewyn::command

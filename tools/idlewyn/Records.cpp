// SPDX-License-Identifier: MIT
#include "Records.hpp"

namespace idlewyn::command {

std::vector<AgentErrorRecord> errorRecords(
    const std::map<AgentProvider, std::exception_ptr>& errors) {
  std::vector<AgentErrorRecord> records;
  for (const auto& [provider, error] : errors)
    records.emplace_back(provider, describe(error));
  return records;
}

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

ConnectionRecord::ConnectionRecord(const Connection& connection, bool wasReplaced,
                                   bool wasTrustedOnFirstUse)
    : agent(connection.provider),
      account(connection.accountName),
      connectedAt(connection.connectedAt),
      fingerprint(connection.certificatePin),
      replaced(wasReplaced),
      trustedOnFirstUse(wasTrustedOnFirstUse) {
  if (connection.serverURL) address = connection.serverURL->withoutUserInfo().text();
}

PinRecord::PinRecord(const Connection& connection)
    : agent(connection.provider), fingerprint(connection.certificatePin) {
  if (connection.serverURL) address = connection.serverURL->withoutUserInfo().text();
}

}  // namespace idlewyn::command

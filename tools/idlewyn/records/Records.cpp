// SPDX-License-Identifier: MIT
#include <tools/idlewyn/records/Records.hpp>

namespace idlewyn::command {

std::vector<AgentErrorRecord> errorRecords(
    const std::map<AgentProvider, std::exception_ptr>& errors) {
  std::vector<AgentErrorRecord> records;
  for (const auto& [provider, error] : errors)
    records.emplace_back(provider, describe(error));
  return records;
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

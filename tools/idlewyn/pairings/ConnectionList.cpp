// SPDX-License-Identifier: MIT
#include <tools/idlewyn/pairings/ConnectionList.hpp>

#include <algorithm>

#include <tools/idlewyn/failure/Failure.hpp>

namespace idlewyn::command {

void ConnectionList::update(const std::function<void(std::vector<Connection>&)>& change) {
  const auto hold = exclude();
  auto connections = load();
  change(connections);
  save(connections);
}

void ConnectionList::prepare() {
  const auto hold = exclude();
  trySaving(load());
}

std::vector<Connection> ConnectionList::paired(std::optional<AgentProvider> agent) const {
  std::vector<Connection> connections;
  for (Connection& connection : load()) {
    if (agent && connection.provider != *agent) continue;
    const auto earlier = std::ranges::find(connections, connection.provider, &Connection::provider);
    if (earlier == connections.end()) {
      connections.push_back(std::move(connection));
    } else {
      *earlier = std::move(connection);
    }
  }
  if (!connections.empty()) return connections;
  const std::string who = agent ? std::string(displayName(*agent)) + " is not paired."
                                : std::string("No agent is paired.");
  throw Failure(ExitCode::failure, "notPaired", who + " See idlewyn pair --help.");
}

Connection ConnectionList::onlyOne(std::optional<AgentProvider> agent) const {
  auto connections = paired(agent);
  if (connections.size() == 1) return std::move(connections.front());
  throw usageFailure("Several agents are paired; name one with --agent.");
}

}  // namespace idlewyn::command

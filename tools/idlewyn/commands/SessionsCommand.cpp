// SPDX-License-Identifier: MIT
#include <tools/idlewyn/commands/Commands.hpp>
#include <tools/idlewyn/records/SessionRecords.hpp>
#include <tools/idlewyn/sessions/SessionReport.hpp>
#include <tools/idlewyn/sessions/SharedSnapshot.hpp>

namespace idlewyn::command {
namespace {

// Of agents that did not answer, what is shown is as old as their last answer.
LastSeen lastSeen(const SnapshotResult& result, const std::vector<Connection>& asked,
                  const LastSeen& before) {
  LastSeen seen{result.snapshot, {}};
  for (const Connection& connection : asked) {
    const AgentProvider agent = connection.provider;
    const auto earlier = before.answered.find(agent);
    if (!result.errors.contains(agent)) {
      seen.answered[agent] = result.snapshot.updatedAt;
    } else if (earlier != before.answered.end()) {
      seen.answered.insert(*earlier);
    }
  }
  if (result.errors.size() == asked.size()) seen.snapshot.updatedAt = before.snapshot.updatedAt;
  return seen;
}

}  // namespace

ExitCode runSessions(const Arguments& given, Surroundings& with) {
  const auto connections = with.connections().paired(given.agent());
  const LastSeen before = lastSeen(given.agent());
  const SnapshotResult result = with.relays.snapshot(connections, before.snapshot);
  const LastSeen seen = lastSeen(result, connections, before);
  if (result.errors.size() < connections.size()) shareLastSeen(seen, given.agent());
  if (with.output.isJSON) {
    auto errors = errorRecords(result.errors);
    for (AgentErrorRecord& error : errors) {
      const auto answered = seen.answered.find(error.agent);
      if (answered != seen.answered.end()) error.answeredAt = answered->second;
    }
    with.output.json(SessionsRecord(seen.snapshot, std::move(errors), std::nullopt));
  } else {
    reportSnapshot(with.output, seen.snapshot,
                   errorReport(result.errors, with.output.style, seen.answered), DateClock::now());
  }
  return exitCodeOf(result.errors, connections.size());
}

}  // namespace idlewyn::command

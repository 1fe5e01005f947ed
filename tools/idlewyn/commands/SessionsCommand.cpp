// SPDX-License-Identifier: MIT
#include <tools/idlewyn/commands/Commands.hpp>
#include <tools/idlewyn/records/SessionRecords.hpp>
#include <tools/idlewyn/sessions/SessionReport.hpp>
#include <tools/idlewyn/sessions/SharedSnapshot.hpp>

namespace idlewyn::command {
ExitCode runSessions(const Arguments& given, Surroundings& with) {
  const auto connections = with.connections().paired(given.agent());
  const LastSeen before = lastSeen(given.agent());
  const SnapshotResult result = with.relays.snapshot(connections, before.snapshot);
  const LastSeen seen = lastSeen(result, connections, before);
  const Date now = DateClock::now();
  const OldAgents old = seen.failedAgents();
  shareLastSeen(seen, given.agent(), result.errors.size() < connections.size());
  if (with.output.isJSON) {
    with.output.json(SessionsRecord(seen.snapshot, old, seen.errorRecords()));
  } else {
    reportSnapshot(with.output, seen.snapshot, old,
                   errorReport(result.errors, with.output.style, seen.answered), now);
  }
  return exitCodeOf(result.errors, connections.size());
}

}  // namespace idlewyn::command

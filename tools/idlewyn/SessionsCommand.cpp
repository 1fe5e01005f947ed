// SPDX-License-Identifier: MIT
#include "Commands.hpp"
#include "Records.hpp"
#include "SessionReport.hpp"

namespace idlewyn::command {

ExitCode runSessions(const SessionsOptions& options, Surroundings& with) {
  const auto connections = with.connections.paired(options.agent);
  const SnapshotResult result = with.relays.snapshot(connections, SessionSnapshot::empty());
  if (with.output.isJSON) {
    with.output.json(SessionsRecord(result.snapshot, errorRecords(result.errors), std::nullopt));
  } else {
    reportSnapshot(with.output, result.snapshot, result.errors, DateClock::now());
  }
  return exitCodeOf(result.errors, connections.size());
}

}  // namespace idlewyn::command

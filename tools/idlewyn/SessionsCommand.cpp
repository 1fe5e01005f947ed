// SPDX-License-Identifier: MIT
#include <IdlewynKit/storage/SnapshotStore.hpp>

#include "Commands.hpp"
#include "Records.hpp"
#include "SessionReport.hpp"
#include "SharedSnapshot.hpp"

namespace idlewyn::command {

ExitCode runSessions(const Arguments& given, Surroundings& with) {
  const auto connections = with.connections().paired(given.agent());
  const SnapshotResult result = with.relays.snapshot(connections, SnapshotStore::shared().load());
  shareSnapshot(result.snapshot, given.agent());
  if (with.output.isJSON) {
    with.output.json(SessionsRecord(result.snapshot, errorRecords(result.errors), std::nullopt));
  } else {
    reportSnapshot(with.output, result.snapshot, errorReport(result.errors, with.output.style),
                   DateClock::now());
  }
  return exitCodeOf(result.errors, connections.size());
}

}  // namespace idlewyn::command

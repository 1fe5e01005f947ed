// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <tools/idlewyn/commands/Commands.hpp>
#include <tools/idlewyn/records/StorageRecords.hpp>
#include <tools/idlewyn/relays/Fingerprint.hpp>

namespace idlewyn::command {

ExitCode runConnections(const Arguments& given, Surroundings& with) {
  ConnectionListRecord list;
  for (const Connection& connection : with.connections().load()) {
    if (given.agent() && connection.provider != *given.agent()) continue;
    list.connections.emplace_back(connection, false, false);
  }
  if (with.output.isJSON) {
    with.output.json(list);
    return ExitCode::ok;
  }
  if (list.connections.empty()) with.output.line("No agent is paired.");
  for (const ConnectionRecord& one : list.connections) {
    with.output.line(toned(displayName(one.agent), Tone::strong, with.output.style) + " as " +
                     displayLine(one.account) +
                     (one.address ? " at " + displayLine(*one.address) : ""));
    if (!one.fingerprint) continue;
    for (const std::string& line : fingerprintLines(*one.fingerprint))
      with.output.line("  " + line);
  }
  return ExitCode::ok;
}

}  // namespace idlewyn::command

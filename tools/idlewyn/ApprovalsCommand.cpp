// SPDX-License-Identifier: MIT
#include "Commands.hpp"
#include "Records.hpp"

namespace idlewyn::command {
namespace {

std::string describeApprovals(AgentProvider agent, bool enabled) {
  return std::string(shortName(agent)) + ": remote approvals are " + (enabled ? "on" : "off");
}

ExitCode readApprovals(const ApprovalsOptions& options, Surroundings& with) {
  const auto connections = with.connections.paired(options.agent);
  ApprovalsListRecord list;
  std::map<AgentProvider, std::exception_ptr> errors;
  for (const Connection& connection : connections) {
    try {
      list.approvals.emplace_back(connection.provider, with.relays.remoteApprovals(connection));
    } catch (...) {
      if (describe(std::current_exception()).code == ExitCode::interrupted) throw;
      errors[connection.provider] = std::current_exception();
    }
  }
  list.errors = errorRecords(errors);
  for (const ApprovalsRecord& one : list.approvals) {
    with.output.line(describeApprovals(one.agent, one.remoteApprovals));
  }
  for (const AgentErrorRecord& error : list.errors) {
    with.output.line(std::string(shortName(error.agent)) + ": " + error.message);
  }
  if (with.output.isJSON) with.output.json(list);
  return exitCodeOf(errors, connections.size());
}

}  // namespace

ExitCode runApprovals(const ApprovalsOptions& options, Surroundings& with) {
  if (!options.enabled) return readApprovals(options, with);
  const Connection connection = with.connections.onlyOne(options.agent);
  // What the relay now says counts, not what was asked.
  const bool enabled = with.relays.setRemoteApprovals(*options.enabled, connection);
  ApprovalsListRecord list;
  list.approvals.emplace_back(connection.provider, enabled);
  if (with.output.isJSON) with.output.json(list);
  with.output.line(describeApprovals(connection.provider, enabled));
  if (enabled == *options.enabled) return ExitCode::ok;
  with.output.note("The relay did not change them.");
  return ExitCode::failure;
}

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#include <tools/idlewyn/commands/Commands.hpp>
#include <tools/idlewyn/records/Records.hpp>
#include <tools/idlewyn/sessions/SessionReport.hpp>

namespace idlewyn::command {
namespace {

std::string describeApprovals(AgentProvider agent, bool enabled) {
  return std::string(shortName(agent)) + ": remote approvals are " + (enabled ? "on" : "off");
}

ExitCode readApprovals(const Arguments& given, Surroundings& with) {
  const auto connections = with.connections().paired(given.agent());
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
  if (!errors.empty()) with.output.line(errorReport(errors, with.output.style));
  if (with.output.isJSON) with.output.json(list);
  return exitCodeOf(errors, connections.size());
}

}  // namespace

ExitCode runApprovals(const Arguments& given, Surroundings& with) {
  if (!given.has("switch")) return readApprovals(given, with);
  const bool wanted = given.text("switch") == "on";
  const Connection connection = with.connections().onlyOne(given.agent());
  // What the relay now says counts, not what was asked.
  const bool enabled = with.relays.setRemoteApprovals(wanted, connection);
  ApprovalsListRecord list;
  list.approvals.emplace_back(connection.provider, enabled);
  if (with.output.isJSON) with.output.json(list);
  with.output.line(describeApprovals(connection.provider, enabled));
  if (enabled == wanted) return ExitCode::ok;
  with.output.note("The relay did not change them.");
  return ExitCode::failure;
}

}  // namespace idlewyn::command

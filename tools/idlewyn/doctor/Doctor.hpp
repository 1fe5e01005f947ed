// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include <IdlewynKit/relay/Connection.hpp>

#include <tools/idlewyn/failure/Failure.hpp>
#include <tools/idlewyn/pairings/ConnectionList.hpp>
#include <tools/idlewyn/relays/Relays.hpp>

/// What `doctor` looks at, and what it has to say about it.
namespace idlewyn::command {

enum class CheckState : std::uint8_t { ok, warning, failed };

struct Check {
  Check(std::string name, CheckState state, std::string message, std::string advice = {})
      : name(std::move(name)), state(state), message(std::move(message)) {
    if (!advice.empty()) this->advice = std::move(advice);
  }
  explicit Check(platform::DecodingKey) {}

  static constexpr auto fields() {
    using platform::field;
    return std::tuple{field("agent", &Check::agent), field("name", &Check::name),
                      field("state", &Check::state), field("message", &Check::message),
                      field("advice", &Check::advice)};
  }

  /// Absent where it concerns this machine.
  std::optional<AgentProvider> agent;
  std::string name;
  CheckState state{};
  /// A sentence, escaped.
  std::string message;
  /// What to do about it.
  std::optional<std::string> advice;
};

/// The checks of one relay in the order of a connection; those that make no sense behind one
/// that failed are left out.
struct RelayExamination {
  std::vector<Check> checks;
  /// Of the one that failed.
  ExitCode code = ExitCode::ok;
};

/// `connection` is absent before pairing.
RelayExamination examineRelay(const URL& address, const std::optional<Connection>& connection,
                              Relays& relays);

/// What is kept on this machine, one check each, and whether it can show notifications.
struct MachineExamination {
  std::vector<Check> checks;
  /// Of that agent, or of each; none where the checks tell why.
  std::vector<Connection> connections;
};

/// An `agent` that is not paired is a failed check. `open` gives the list of connections, or
/// throws a Failure.
MachineExamination examineMachine(std::optional<AgentProvider> agent,
                                  const std::function<ConnectionList&()>& open, Relays& relays);

}  // namespace idlewyn::command

template <>
struct idlewyn::platform::RawValues<idlewyn::command::CheckState> {
  static constexpr std::string_view typeName = "CheckState";
  static constexpr std::array<std::string_view, 3> texts{"ok", "warning", "failed"};
  static constexpr bool isIterable = true;
};

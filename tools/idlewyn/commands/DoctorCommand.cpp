// SPDX-License-Identifier: MIT
#include <algorithm>

#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <tools/idlewyn/commands/Commands.hpp>
#include <tools/idlewyn/doctor/Doctor.hpp>
#include <tools/idlewyn/records/Records.hpp>
#include <tools/idlewyn/relays/RelayAddress.hpp>

namespace idlewyn::command {
namespace {

struct DoctorRecord {
  DoctorRecord() = default;
  explicit DoctorRecord(DecodingKey) {}

  static constexpr auto fields() { return std::tuple{field("checks", &DoctorRecord::checks)}; }

  std::vector<Check> checks;
};

Tone toneOf(CheckState state) {
  switch (state) {
    case CheckState::ok: return Tone::good;
    case CheckState::warning: return Tone::attention;
    case CheckState::failed: return Tone::bad;
  }
  return Tone::plain;
}

std::string padded(std::string_view text, std::size_t width) {
  std::string result(text);
  result.resize(std::max(width, result.size()), ' ');
  return result;
}

void show(const std::string& heading, const std::vector<Check>& checks, Output& output) {
  output.line(toned(heading, Tone::strong, output.style));
  for (const Check& check : checks) {
    output.line("  " + toned(padded(rawValue(check.state), 9), toneOf(check.state), output.style) +
                padded(check.name, 15) + check.message);
    if (check.advice) output.line(std::string(26, ' ') + "→ " + *check.advice);
  }
  output.line();
}

class Visit {
 public:
  explicit Visit(Surroundings& with) : with_(with) {}

  /// Gives the connections to be looked at next.
  std::vector<Connection> machine(std::optional<AgentProvider> agent) {
    MachineExamination result = examineMachine(
        agent, [this]() -> ConnectionList& { return with_.connections(); }, with_.relays);
    add("This machine", result.checks);
    const bool isFailed =
        std::ranges::find(result.checks, CheckState::failed, &Check::state) != result.checks.end();
    if (isFailed) code_ = ExitCode::failure;
    return std::move(result.connections);
  }

  void relay(const Connection& connection) {
    ++agents_;
    if (connection.isDemo()) {
      return add(std::string(displayName(connection.provider)),
                 {Check("address", CheckState::ok, "A demo, which needs no relay.")});
    }
    const auto result = examineRelay(*connection.serverURL, connection, with_.relays);
    add(std::string(displayName(connection.provider)), result.checks);
    if (result.code == ExitCode::ok) return;
    errors_[connection.provider] =
        std::make_exception_ptr(Failure(result.code, "doctor", result.checks.back().message));
  }

  void address(const std::string& text) {
    const URL url = parseRelayAddress(text);
    const auto result = examineRelay(url, std::nullopt, with_.relays);
    add(displayLine(url.withoutUserInfo().text()), result.checks);
    code_ = result.code;
  }

  ExitCode finish() const {
    if (with_.output.isJSON) with_.output.json(record_);
    return errors_.empty() ? code_ : exitCodeOf(errors_, agents_);
  }

 private:
  void add(const std::string& heading, const std::vector<Check>& checks) {
    show(heading, checks, with_.output);
    with_.output.finish();
    record_.checks.insert(record_.checks.end(), checks.begin(), checks.end());
  }

  Surroundings& with_;
  DoctorRecord record_;
  std::map<AgentProvider, std::exception_ptr> errors_;
  std::size_t agents_ = 0;
  ExitCode code_ = ExitCode::ok;
};

}  // namespace

ExitCode runDoctor(const Arguments& given, Surroundings& with) {
  with.relays.listen();
  Visit visit(with);
  if (given.has("--address")) {
    visit.address(given.text("--address"));
    return visit.finish();
  }
  for (const Connection& connection : visit.machine(given.agent()))
    visit.relay(connection);
  return visit.finish();
}

}  // namespace idlewyn::command

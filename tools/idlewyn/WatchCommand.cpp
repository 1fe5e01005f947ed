// SPDX-License-Identifier: MIT
#include <array>
#include <ctime>

#include "Commands.hpp"
#include "Records.hpp"
#include "SessionReport.hpp"

namespace idlewyn::command {
namespace {

std::string timeOfDay() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  std::array<char, 16> text{};
  std::strftime(text.data(), text.size(), "%H:%M:%S", &local);
  return text.data();
}

void reportJSON(Output& output, const SnapshotResult& result,
                const std::vector<SessionTransition>& transitions) {
  std::vector<TransitionRecord> records;
  for (const SessionTransition& transition : transitions)
    records.emplace_back(transition);
  output.json(SessionsRecord(result.snapshot, errorRecords(result.errors), std::move(records)));
}

void reportText(Output& output, const SnapshotResult& result,
                const std::vector<SessionTransition>& transitions) {
  output.line(toned("── " + timeOfDay(), Tone::faint, output.style));
  for (const SessionTransition& transition : transitions) {
    output.line(transitionLine(transition, output.style));
  }
  if (!transitions.empty()) output.line();
  reportSnapshot(output, result.snapshot, result.errors, DateClock::now());
  output.line();
}

}  // namespace

ExitCode runWatch(const WatchOptions& options, Surroundings& with) {
  SessionSnapshot previous = SessionSnapshot::empty();
  for (std::uint64_t round = 1;; ++round) {
    // Read anew each time: another terminal may pair meanwhile.
    const auto connections = with.connections.paired(options.agent);
    SnapshotResult result = with.relays.snapshot(connections, previous);
    const auto transitions = SessionTransition::detect(previous, result.snapshot);
    with.output.isJSON ? reportJSON(with.output, result, transitions)
                       : reportText(with.output, result, transitions);
    if (!with.output.finish()) return ExitCode::failure;
    if (round == options.rounds) return exitCodeOf(result.errors, connections.size());
    previous = std::move(result.snapshot);
    with.relays.pause(std::chrono::duration<double>(options.interval));
  }
}

}  // namespace idlewyn::command

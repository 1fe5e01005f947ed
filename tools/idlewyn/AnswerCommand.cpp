// SPDX-License-Identifier: MIT
#include <algorithm>

#include "Commands.hpp"
#include "Escape.hpp"
#include "PromptChoice.hpp"
#include "Records.hpp"

namespace idlewyn::command {
namespace {

// Of the agents that could be asked. When one of them could not, a prompt that is missing may
// be that one's, so its error is what counts.
PromptRecord findPrompt(const AnswerOptions& options, const SnapshotResult& result,
                        std::size_t agents) {
  try {
    return choosePrompt(openPrompts(result.snapshot.sorted()), options.prompt);
  } catch (const Failure& failure) {
    if (failure.code != ExitCode::promptExpired || result.errors.empty()) throw;
  }
  const auto& [provider, error] = *result.errors.begin();
  const Failure why = describe(error);
  throw Failure(exitCodeOf(result.errors, agents), why.kind,
                std::string(shortName(provider)) + ": " + why.message);
}

}  // namespace

ExitCode runAnswer(const AnswerOptions& options, Surroundings& with) {
  if (options.prompt.empty()) throw usageFailure("The prompt's id is empty.");
  const auto connections = with.connections.paired(options.agent);
  const SnapshotResult result = with.relays.snapshot(connections, SessionSnapshot::empty());
  const PromptRecord prompt = findPrompt(options, result, connections.size());
  for (const std::string& line : promptLines(prompt))
    with.output.line(line);
  if (!with.output.finish()) return ExitCode::failure;  // nothing is answered unseen
  if (options.decision == PermissionDecision::always && !prompt.alwaysRule) {
    throw Failure(ExitCode::failure, "noAlwaysRule",
                  "This prompt carries no rule for always; allow or deny it.");
  }
  const auto connection =
      std::ranges::find(connections, prompt.agent, [](const Connection& c) { return c.provider; });
  with.relays.decide(options.decision, prompt.id, *connection);
  if (with.output.isJSON) {
    with.output.json(AnswerRecord(options.decision, prompt));
  } else {
    with.output.line("Answered: " + std::string(rawValue(options.decision)));
  }
  return ExitCode::ok;
}

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#include <algorithm>

#include <IdlewynKit/relay/RelayError.hpp>

#include <tools/idlewyn/commands/Commands.hpp>
#include <tools/idlewyn/prompts/PromptChoice.hpp>
#include <tools/idlewyn/records/Records.hpp>

namespace idlewyn::command {
namespace {

// Of the agents that could be asked. When one of them could not, a prompt that is missing may
// be that one's, so its error is what counts.
PromptRecord findPrompt(const std::string& asked, const SnapshotResult& result,
                        std::size_t agents) {
  try {
    return choosePrompt(openPrompts(result.snapshot.sorted()), asked);
  } catch (const Failure& failure) {
    if (failure.code != ExitCode::promptExpired || result.errors.empty()) throw;
  }
  const auto& [provider, error] = *result.errors.begin();
  Failure why = describe(error);
  why.code = exitCodeOf(result.errors, agents);
  why.message = std::string(shortName(provider)) + ": " + why.message;
  throw why;
}

// Answered elsewhere, or too old: nothing went wrong, and nothing is sent again. The prompts of
// that agent that are open now take its place.
Failure expired(const Failure& said, const PromptRecord& prompt, const Connection& connection,
                Relays& relays) {
  Failure failure = said;
  const SnapshotResult now = relays.snapshot({connection}, SessionSnapshot::empty());
  for (PromptRecord& open : openPrompts(now.snapshot.sorted())) {
    if (open.id != prompt.id) failure.candidates.push_back(std::move(open));
  }
  if (!failure.candidates.empty()) failure.details.emplace_back("Open now:");
  for (const PromptRecord& open : failure.candidates) {
    for (const std::string& line : promptLines(open))
      failure.details.push_back("  " + line);
  }
  return failure;
}

void answer(PermissionDecision decision, const PromptRecord& prompt, const Connection& connection,
            Relays& relays) {
  try {
    relays.decide(decision, prompt.id, connection);
  } catch (const RelayError& error) {
    if (error != RelayError::promptExpired()) throw;
    throw expired(describe(std::current_exception()), prompt, connection, relays);
  }
}

}  // namespace

ExitCode runAnswer(PermissionDecision decision, const Arguments& given, Surroundings& with) {
  const std::string asked = given.text("prompt");
  if (asked.empty()) throw usageFailure("The prompt's id is empty.");
  const auto connections = with.connections().paired(given.agent());
  const SnapshotResult result = with.relays.snapshot(connections, SessionSnapshot::empty());
  const PromptRecord prompt = findPrompt(asked, result, connections.size());
  for (const std::string& line : promptLines(prompt))
    with.output.line(line);
  if (!with.output.finish()) return ExitCode::failure;  // nothing is answered unseen
  if (decision == PermissionDecision::always && !prompt.alwaysRule) {
    throw Failure(ExitCode::failure, "noAlwaysRule",
                  "This prompt carries no rule for always; allow or deny it.");
  }
  const auto connection =
      std::ranges::find(connections, prompt.agent, [](const Connection& c) { return c.provider; });
  answer(decision, prompt, *connection, with.relays);
  if (with.output.isJSON) {
    with.output.json(AnswerRecord(decision, prompt));
  } else {
    with.output.line("Answered: " + std::string(rawValue(decision)));
  }
  return ExitCode::ok;
}

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#include <algorithm>

#include <tools/idlewyn/commands/Commands.hpp>
#include <tools/idlewyn/prompts/AnswerDoubt.hpp>
#include <tools/idlewyn/prompts/PromptChoice.hpp>
#include <tools/idlewyn/records/Records.hpp>

namespace idlewyn::command {
namespace {

// Of the agents that could be asked. When one of them could not, a prompt that is missing may
// be that one's, so its error is what counts.
PromptRecord findPrompt(const std::string& asked, const SnapshotResult& result, std::size_t agents,
                        const Style& style) {
  try {
    return choosePrompt(openPrompts(result.snapshot.sorted()), asked, style.width);
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
                Surroundings& with) {
  Failure failure = said;
  const SnapshotResult now = with.relays.snapshot({connection}, SessionSnapshot::empty());
  for (PromptRecord& open : openPrompts(now.snapshot.sorted())) {
    if (open.id != prompt.id) failure.candidates.push_back(std::move(open));
  }
  if (!failure.candidates.empty()) failure.details.emplace_back("Open now:");
  for (const PromptRecord& open : failure.candidates) {
    for (const std::string& line : promptLines(open, "  ", with.output.style.width))
      failure.details.push_back(line);
  }
  return failure;
}

void answer(PermissionDecision decision, const PromptRecord& prompt, const Connection& connection,
            Surroundings& with) {
  try {
    with.relays.decide(decision, prompt.id, connection);
  } catch (...) {
    const Failure failure = describeAnswering(std::current_exception(), prompt.id);
    if (failure.code != ExitCode::promptExpired) throw failure;
    throw expired(failure, prompt, connection, with);
  }
}

}  // namespace

ExitCode runAnswer(PermissionDecision decision, const Arguments& given, Surroundings& with) {
  const std::string asked = given.text("prompt");
  if (asked.empty()) throw usageFailure("The prompt's id is empty.");
  const auto connections = with.connections().paired(given.agent());
  const SnapshotResult result = with.relays.snapshot(connections, SessionSnapshot::empty());
  const PromptRecord prompt = findPrompt(asked, result, connections.size(), with.output.style);
  for (const std::string& line : promptLines(prompt, "", with.output.style.width))
    with.output.line(line);
  if (hasDotSegment(prompt.id)) with.output.line(dotSegmentWarning());
  if (!with.output.finish()) return ExitCode::failure;  // nothing is answered unseen
  if (decision == PermissionDecision::always && !prompt.alwaysRule) {
    throw Failure(ExitCode::failure, "noAlwaysRule",
                  "This prompt carries no rule for always; allow or deny it.");
  }
  const auto connection =
      std::ranges::find(connections, prompt.agent, [](const Connection& c) { return c.provider; });
  answer(decision, prompt, *connection, with);
  if (with.output.isJSON) {
    AnswerRecord record(decision, prompt);
    if (hasDotSegment(prompt.id)) record.warning = dotSegmentWarning();
    with.output.json(record);
  } else {
    with.output.line("Answered: " + std::string(rawValue(decision)));
  }
  return ExitCode::ok;
}

}  // namespace idlewyn::command

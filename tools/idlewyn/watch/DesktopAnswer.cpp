// SPDX-License-Identifier: MIT
#include <tools/idlewyn/watch/DesktopAnswer.hpp>

#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <tools/idlewyn/prompts/AnswerDoubt.hpp>
#include <tools/idlewyn/prompts/PromptChoice.hpp>

namespace idlewyn::command {
namespace {

void send(const NoticeAnswer& answer, const Connection& connection, Relays& relays) {
  const SnapshotResult now = relays.snapshot({connection}, SessionSnapshot::empty());
  if (!now.errors.empty()) std::rethrow_exception(now.errors.begin()->second);
  const PromptRecord open = choosePrompt(openPrompts(now.snapshot.sessions), answer.prompt.id);
  if (!isSameQuestion(open, answer.prompt)) {
    throw Failure(ExitCode::promptExpired, "promptChanged",
                  "By now something else is asked; nothing was answered.");
  }
  try {
    relays.decide(answer.decision, answer.prompt.id, connection);
  } catch (...) {
    throw describeAnswering(std::current_exception(), answer.prompt.id);
  }
}

}  // namespace

WatchAnswerRecord sendAnswer(const NoticeAnswer& answer, const Connection& connection,
                             Relays& relays) {
  WatchAnswerRecord record(answer.decision, answer.prompt);
  try {
    send(answer, connection, relays);
  } catch (...) {
    const Failure failure = describe(std::current_exception());
    if (failure.code == ExitCode::interrupted) throw failure;
    record.kind = failure.kind;
    record.message = failure.message;
  }
  return record;
}

std::string answerLine(const WatchAnswerRecord& answer) {
  const std::string what =
      std::string(rawValue(answer.decision)) + " " + displayLine(answer.prompt.id);
  if (answer.message) return what + ": " + *answer.message;
  return "Answered on the desktop: " + what;
}

}  // namespace idlewyn::command

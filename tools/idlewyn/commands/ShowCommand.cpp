// SPDX-License-Identifier: MIT
#include <algorithm>

#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <tools/idlewyn/commands/Commands.hpp>
#include <tools/idlewyn/prompts/PromptChoice.hpp>
#include <tools/idlewyn/prompts/ShellWord.hpp>
#include <tools/idlewyn/records/SessionRecords.hpp>
#include <tools/idlewyn/sessions/SessionReport.hpp>
#include <tools/idlewyn/terminal/Margin.hpp>

namespace idlewyn::command {
namespace {

bool isMeant(const AgentSession& session, const std::string& asked) {
  return isNamed(session.id, asked) ||
         (session.permission && isNamed(session.permission->id, asked));
}

std::string headline(const AgentSession& session, Date now) {
  const Date since = session.runningSince().value_or(session.updatedAt);
  return std::string(shortName(session.provider)) + " · " + std::string(label(session.status)) +
         " · " + elapsedText((now - since).count());
}

class Detail {
 public:
  explicit Detail(Output& output) : output_(output) {}

  void show(const AgentSession& session, Date now) {
    output_.line(toned(headline(session, now), Tone::strong, output_.style));
    line("session", session.id);
    line("title", session.title);
    if (session.workingDirectory) line("folder", *session.workingDirectory);
    if (const auto tasks = session.taskProgress())
      line("tasks", std::to_string(tasks->done) + "/" + std::to_string(tasks->total));
    if (const auto activity = session.currentActivity()) block("doing:", *activity);
    if (const auto summary = session.displaySummary()) block("summary:", *summary);
    if (session.permission)
      show(PromptRecord(session.provider, session.id, session.title, *session.permission));
  }

 private:
  void line(const char* name, const std::string& text) {
    output_.line("  " + std::string(name) + " " + displayLine(text));
  }

  void block(const std::string& heading, const std::string& text) {
    output_.line("  " + heading);
    for (const std::string& row : behindMargin(text, "  ", output_.style.width))
      output_.line(row);
  }

  void show(const PromptRecord& prompt) {
    line("prompt", prompt.id);
    block(displayLine(prompt.toolName) + ":", prompt.detail);
    if (prompt.alwaysRule) block("always adds the rule:", *prompt.alwaysRule);
    output_.line("  answer: idlewyn allow " + pasteableID(prompt.id) + ", or deny" +
                 (prompt.alwaysRule ? " or always" : ""));
  }

  Output& output_;
};

// Why a name that nobody knows may be one of an agent that could not be asked.
[[noreturn]] void refuse(const std::string& asked, const SnapshotResult& result,
                         std::size_t agents) {
  if (result.errors.empty()) {
    throw Failure(ExitCode::promptExpired, "promptNotOpen",
                  "No session and no open prompt is called " + displayLine(asked) + ".");
  }
  const auto& [provider, error] = *result.errors.begin();
  Failure why = describe(error);
  why.code = exitCodeOf(result.errors, agents);
  why.message = std::string(shortName(provider)) + ": " + why.message;
  throw why;
}

}  // namespace

ExitCode runShow(const Arguments& given, Surroundings& with) {
  const std::string asked = given.text("prompt");
  if (asked.empty()) throw usageFailure("The ID is empty.");
  const auto connections = with.connections().paired(given.agent());
  const SnapshotResult result = with.relays.snapshot(connections, SessionSnapshot::empty());
  SessionSnapshot meant = result.snapshot;
  std::erase_if(meant.sessions, [&](const auto& session) { return !isMeant(session, asked); });
  if (meant.sessions.empty()) refuse(asked, result, connections.size());
  if (with.output.isJSON) {
    OldAgents silent;
    for (const auto& [agent, error] : result.errors)
      silent.emplace(agent, platform::distantPast);
    with.output.json(SessionsRecord(meant, silent, errorRecords(result.errors)));
    return ExitCode::ok;
  }
  Detail detail(with.output);
  bool isFirst = true;
  for (const AgentSession& session : meant.sorted()) {
    if (!std::exchange(isFirst, false)) with.output.line();
    detail.show(session, DateClock::now());
  }
  return ExitCode::ok;
}

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#include <tools/idlewyn/sessions/SessionReport.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include <tools/idlewyn/failure/Failure.hpp>
#include <tools/idlewyn/prompts/PromptChoice.hpp>
#include <tools/idlewyn/prompts/ShellWord.hpp>
#include <tools/idlewyn/terminal/Table.hpp>

namespace idlewyn::command {
namespace {

Tone toneOf(SessionStatus status) noexcept {
  switch (status) {
    case SessionStatus::working: return Tone::active;
    case SessionStatus::waitingForInput: return Tone::attention;
    case SessionStatus::finished: return Tone::good;
    case SessionStatus::failed: return Tone::bad;
    case SessionStatus::idle: return Tone::faint;
  }
  return Tone::plain;
}

std::string tasksText(const AgentSession& session) {
  const auto progress = session.taskProgress();
  if (!progress) return "";
  return std::to_string(progress->done) + "/" + std::to_string(progress->total);
}

// While working the time of the turn, else the time since the last change.
std::string timeText(const AgentSession& session, Date now) {
  const Date since = session.runningSince().value_or(session.updatedAt);
  return elapsedText((now - since).count());
}

std::string nowText(const AgentSession& session) {
  if (session.permission) return "prompt " + session.permission->id;
  if (const auto activity = session.currentActivity()) return *activity;
  return session.displaySummary().value_or("");
}

std::string answersText(const PromptRecord& prompt) {
  std::string text =
      prompt.alwaysRule ? "    answer: allow, deny or always" : "    answer: allow or deny";
  const std::string word = pasteableID(prompt.id);
  return word == prompt.id ? text : text + ", as in: idlewyn allow " + word;
}

void append(std::string& text, const std::string& line) {
  if (!text.empty()) text += '\n';
  text += line;
}

}  // namespace

std::string elapsedText(double seconds) {
  // Also what is not a number becomes 0, and a relay's nonsense stays printable.
  const auto whole = static_cast<long long>(seconds > 0 ? std::min(seconds, 1e12) : 0);
  std::array<char, 48> text{};
  if (whole >= 3600) {
    std::snprintf(text.data(), text.size(), "%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60,
                  whole % 60);
  } else {
    std::snprintf(text.data(), text.size(), "%lld:%02lld", whole / 60, whole % 60);
  }
  return text.data();
}

std::string sessionTable(const SessionSnapshot& snapshot, Date now, const Style& style,
                         const OldAgents& old) {
  if (snapshot.sessions.empty()) return "No sessions";
  constexpr std::size_t agent = 0, project = 2, title = 3, tasks = 4, time = 5;
  Table table({"AGENT", "STATUS", "PROJECT", "TITLE", "TASKS", "TIME", "NOW"},
              Narrowing({title, project}, {tasks, project, time, agent}));
  for (const AgentSession& session : inDisplayOrder(snapshot, old)) {
    const bool isOld = old.contains(session.provider);
    const Date seen = ageBase(session, old, now);
    std::string status(label(session.status));
    if (isOld) status += ", " + agoText((now - seen).count());
    table.add({Cell(shortName(session.provider)),
               Cell(status, isOld ? Tone::faint : toneOf(session.status)),
               Cell(session.projectName()), Cell(session.title, isOld ? Tone::faint : Tone::strong),
               Cell(tasksText(session)), Cell(timeText(session, seen)),
               Cell(nowText(session), Tone::faint)});
  }
  return table.text(style);
}

std::string promptReport(const SessionSnapshot& snapshot, const Style& style,
                         std::optional<std::size_t> mostLines) {
  const auto prompts = openPrompts(snapshot.sorted());
  if (prompts.empty()) return "";
  std::string text = toned("Waiting for an answer", Tone::attention, style);
  for (const PromptRecord& prompt : prompts) {
    auto lines = promptLines(prompt, "  ", style.width);
    const bool isCut = mostLines && lines.size() > *mostLines;
    if (isCut) lines.resize(*mostLines);
    for (const std::string& line : lines)
      append(text, line);
    append(text, isCut ? "    too long for this screen; see it whole with: idlewyn show " +
                             pasteableID(prompt.id)
                       : answersText(prompt));
  }
  return text;
}

std::string errorReport(const std::map<AgentProvider, std::exception_ptr>& errors,
                        const Style& style, const std::map<AgentProvider, Date>& answered) {
  std::string text;
  for (const auto& [provider, error] : errors) {
    const Failure failure = describe(error);
    std::string line = std::string(shortName(provider)) + ": " + failure.message;
    if (const auto last = answered.find(provider); last != answered.end()) {
      line += " Last seen " + elapsedText((platform::DateClock::now() - last->second).count()) +
              " ago.";
    }
    append(text, toned(line, Tone::bad, style));
    for (const std::string& more : failure.details)
      append(text, more);
  }
  return text;
}

std::string transitionLine(const SessionTransition& transition, const Style& style) {
  const AgentSession& session = transition.session;
  std::string line =
      std::string(shortName(session.provider)) + " · " + shownTitle(session.title) + ": ";
  if (transition.from) line += std::string(label(*transition.from)) + " → ";
  return line + toned(label(session.status), toneOf(session.status), style);
}

void reportSnapshot(Output& output, const SessionSnapshot& snapshot, const OldAgents& old,
                    const std::string& errors, Date now) {
  const bool isEmpty = snapshot.sessions.empty();
  const std::string table = isEmpty ? "" : sessionTable(snapshot, now, output.style, old);
  // Of agents that failed nobody knows whether they have sessions.
  const std::string summary = isEmpty && !errors.empty() ? "" : summaryOf(snapshot, old, now);
  bool isFirst = true;
  for (const std::string& part : {table, promptReport(live(snapshot, old), output.style), errors,
                                  toned(summary, Tone::strong, output.style)}) {
    if (part.empty()) continue;
    if (!std::exchange(isFirst, false)) output.line();
    output.line(part);
  }
}

}  // namespace idlewyn::command

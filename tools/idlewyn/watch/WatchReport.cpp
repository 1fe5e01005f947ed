// SPDX-License-Identifier: MIT
#include <tools/idlewyn/watch/WatchReport.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <tuple>

#include <tools/idlewyn/sessions/SessionReport.hpp>

namespace idlewyn::command {
namespace {

using Seconds = Watcher::Seconds;

std::string outlook(const Watcher::Agent& agent, Watcher::Time now) {
  std::string text =
      agent.answered
          ? " Last answer " + elapsedText((DateClock::now() - *agent.answered).count()) + " ago"
          : " No answer so far";
  if (agent.isRefused) return text + "; not asked again until it is paired anew.";
  const double wait = std::max(std::ceil(Seconds(agent.due - now).count()), 0.0);
  return text + "; next try in " + std::to_string(static_cast<long long>(wait)) + " s.";
}

void append(std::string& text, const std::string& part, std::string_view between) {
  if (part.empty()) return;
  if (!text.empty()) text += between;
  text += part;
}

Date dateOf(Watcher::Time time, Watcher::Time now) {
  return DateClock::now() + std::chrono::duration_cast<Date::duration>(time - now);
}

}  // namespace

std::string timeOfDay() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  std::array<char, 16> text{};
  std::strftime(text.data(), text.size(), "%H:%M:%S", &local);
  return text.data();
}

std::string watchErrors(const Watcher& watcher, Watcher::Time now, bool details,
                        const Style& style) {
  std::string text;
  for (const auto& [provider, agent] : watcher.agents()) {
    if (!agent.error) continue;
    const Failure failure = describe(agent.error);
    const std::string line = std::string(shortName(provider)) + ": " + failure.message;
    const bool isMore = !details && failure.code == ExitCode::certificateMismatch;
    append(text,
           toned(line + (isMore ? " See idlewyn pin verify." : "") + outlook(agent, now), Tone::bad,
                 style),
           "\n");
    if (!details) continue;
    for (const std::string& more : failure.details)
      append(text, more, "\n");
  }
  return text;
}

std::vector<AgentErrorRecord> watchErrorRecords(const Watcher& watcher, Watcher::Time now) {
  std::vector<AgentErrorRecord> records;
  for (const auto& [provider, agent] : watcher.agents()) {
    if (!agent.error) continue;
    AgentErrorRecord& record = records.emplace_back(provider, describe(agent.error));
    record.answeredAt = agent.answered;
    if (!agent.isRefused) record.nextTryAt = dateOf(agent.due, now);
  }
  return records;
}

void reportRoundJSON(Output& output, const Watcher& watcher,
                     const std::vector<SessionTransition>& transitions,
                     std::optional<std::vector<WatchAnswerRecord>> answers, Watcher::Time now) {
  std::vector<TransitionRecord> records;
  for (const SessionTransition& transition : transitions)
    records.emplace_back(transition);
  SessionsRecord record(watcher.snapshot(), watcher.lastSeen().failedAgents(),
                        watchErrorRecords(watcher, now));
  record.transitions = std::move(records);
  record.answers = std::move(answers);
  output.json(record);
}

std::string watchContent(const Watcher& watcher) {
  SessionSnapshot still = watcher.snapshot();
  const Date always = platform::distantPast;  // to which everything is yet to come: 0:00
  for (AgentSession& session : still.sessions)
    session.updatedAt = always;
  std::ranges::sort(still.sessions, {}, [](const AgentSession& session) {
    return std::tie(session.provider, session.id);
  });
  const Style style;
  const OldAgents old = watcher.lastSeen().failedAgents();
  return sessionTable(still, always, style) + promptReport(live(still, old), style) +
         errorReport(watcher.errors(), style);
}

void reportRound(Output& output, const Watcher& watcher,
                 const std::vector<SessionTransition>& transitions, Watcher::Time now) {
  output.line(toned("── " + timeOfDay(), Tone::faint, output.style));
  for (const SessionTransition& transition : transitions)
    output.line(transitionLine(transition, output.style));
  if (!transitions.empty()) output.line();
  const std::string errors = watchErrors(watcher, now, true, output.style);
  reportSnapshot(output, watcher.snapshot(), watcher.lastSeen().failedAgents(), errors,
                 DateClock::now());
  output.line();
}

std::string watchScreen(const Watcher& watcher, const std::deque<std::string>& news,
                        Watcher::Time now, const Style& style) {
  const SessionSnapshot& snapshot = watcher.snapshot();
  const std::string errors = watchErrors(watcher, now, false, style);
  const bool isEmpty = snapshot.sessions.empty();
  // Of agents that failed nobody knows whether they have sessions.
  const OldAgents old = watcher.lastSeen().failedAgents();
  const Date date = DateClock::now();
  const std::string summary =
      isEmpty && !errors.empty() ? "Watching" : summaryOf(snapshot, old, date);
  std::string text = toned(summary, Tone::strong, style);
  append(text, errors, "\n");
  for (const std::string& line : news)
    append(text, line, "\n");
  // One long question must not hide the others.
  constexpr std::size_t promptRows = 8;
  append(text, promptReport(live(snapshot, old), style, promptRows), "\n\n");
  append(text, isEmpty ? "" : sessionTable(snapshot, date, style, old), "\n\n");
  return text;
}

}  // namespace idlewyn::command

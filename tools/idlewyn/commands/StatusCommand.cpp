// SPDX-License-Identifier: MIT
#include <vector>

#include <IdlewynKit/model/SnapshotLead.hpp>
#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <tools/idlewyn/commands/Commands.hpp>
#include <tools/idlewyn/records/SessionRecords.hpp>
#include <tools/idlewyn/sessions/SessionReport.hpp>
#include <tools/idlewyn/sessions/SharedSnapshot.hpp>
#include <tools/idlewyn/terminal/Table.hpp>

namespace idlewyn::command {
namespace {

// What status bars read: texts in their markup, and a class for their style sheet.
struct WaybarRecord {
  WaybarRecord(std::string text, std::string tooltip, std::string alt, std::string cssClass)
      : text(std::move(text)),
        tooltip(std::move(tooltip)),
        alt(std::move(alt)),
        cssClass(std::move(cssClass)) {}
  explicit WaybarRecord(DecodingKey) {}

  static constexpr auto fields() {
    using R = WaybarRecord;
    return std::tuple{field("text", &R::text), field("tooltip", &R::tooltip), field("alt", &R::alt),
                      field("class", &R::cssClass)};
  }

  std::string text;
  std::string tooltip;
  std::string alt;
  std::string cssClass;
};

std::string markup(std::string_view text) {
  std::string result;
  for (const char c : text) {
    switch (c) {
      case '&': result += "&amp;"; break;
      case '<': result += "&lt;"; break;
      case '>': result += "&gt;"; break;
      default: result += c;
    }
  }
  return result;
}

// Nothing when nothing was seen yet.
std::optional<double> ageOf(const LastSeen& seen) {
  if (seen.snapshot.updatedAt == platform::distantPast) return std::nullopt;
  return (DateClock::now() - seen.snapshot.updatedAt).count();
}

// True when there are sessions and every agent that has one is old. An agent that watches is asked
// once a minute at least, unless told otherwise, even when its relay fails.
bool isStale(const LastSeen& seen, const OldAgents& old) {
  return !seen.snapshot.sessions.empty() && live(seen.snapshot, old).sessions.empty();
}

// For bars: what is stale must not pass for what is now.
std::string withAge(std::string text, const LastSeen& seen) {
  return std::move(text) + " (" + elapsedText(ageOf(seen).value_or(0)) + " ago)";
}

// How old the snapshot is, and a line for each agent whose sessions are older.
std::vector<std::string> ageLines(const LastSeen& seen) {
  std::vector<std::string> lines;
  if (const auto age = ageOf(seen)) lines.push_back("As of " + elapsedText(*age) + " ago.");
  for (const auto& [agent, answered] : seen.answered) {
    if ((seen.snapshot.updatedAt - answered).count() < 1) continue;
    const double age = (DateClock::now() - answered).count();
    lines.push_back(std::string(shortName(agent)) + ": last seen " + elapsedText(age) + " ago.");
  }
  for (const auto& [agent, error] : seen.errors)
    lines.push_back(std::string(shortName(agent)) + ": " + displayLine(error.message));
  return lines;
}

// Bars show it beside the pointer, where nobody can scroll.
std::string tooltipOf(std::vector<std::string> lines) {
  constexpr std::size_t mostLines = 20, mostColumns = 80;
  if (lines.size() > mostLines) {
    const std::size_t left = lines.size() - mostLines + 1;
    lines.resize(mostLines - 1);
    lines.push_back("… " + std::to_string(left) + " more");
  }
  std::string tooltip;
  for (const std::string& line : lines)
    tooltip += (tooltip.empty() ? "" : "\n") + markup(cutToWidth(line, mostColumns));
  return tooltip;
}

WaybarRecord waybarRecord(const LastSeen& seen) {
  constexpr std::size_t widestProject = 30;
  const Date now = DateClock::now();
  const OldAgents old = seen.oldAgents(now);
  const bool isOld = isStale(seen, old);
  const SnapshotLead lead(isOld ? seen.snapshot : live(seen.snapshot, old));
  std::vector<std::string> lines = ageLines(seen);
  lines.push_back(summaryOf(seen.snapshot, old, now));
  for (const AgentSession& session : inDisplayOrder(seen.snapshot, old)) {
    const double age = (now - ageBase(session, old, now)).count();
    const std::string mark = old.contains(session.provider) ? ", " + agoText(age) : "";
    lines.push_back(std::string(label(session.status)) + mark + "  " +
                    cutToWidth(displayLine(session.projectName()), widestProject) + ": " +
                    displayLine(session.title));
  }
  const std::string text = std::to_string(lead.count()) + " " + lead.label();
  const std::string status = lead.isEmpty() ? "none" : std::string(rawValue(lead.status()));
  return WaybarRecord(lead.isEmpty() ? "" : markup(isOld ? withAge(text, seen) : text),
                      tooltipOf(std::move(lines)), status, isOld ? "stale" : status);
}

}  // namespace

// Neither the network nor the keychain: this runs every few seconds in status bars.
ExitCode runStatus(const Arguments& given, Surroundings& with) {
  const LastSeen seen = lastSeen(given.agent());
  const SessionSnapshot& snapshot = seen.snapshot;
  const Date now = DateClock::now();
  const OldAgents old = seen.oldAgents(now);
  const std::string format = given.text("--format");
  if (format == "waybar") {
    with.output.json(waybarRecord(seen));
  } else if (with.output.isJSON) {
    SessionsRecord record(snapshot, old, seen.errorRecords());
    record.agents = seen.answerTimes();
    with.output.json(record);
  } else if (format == "line") {
    with.output.line(isStale(seen, old) ? withAge(SnapshotLead(snapshot).summary(), seen)
                                        : summaryOf(snapshot, old, now));
  } else {
    reportSnapshot(with.output, snapshot, old, "", now);
    for (const std::string& line : ageLines(seen))
      with.output.line(toned(line, Tone::faint, with.output.style));
  }
  return ExitCode::ok;
}

}  // namespace idlewyn::command

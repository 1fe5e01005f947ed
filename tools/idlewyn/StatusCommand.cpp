// SPDX-License-Identifier: MIT
#include <vector>

#include "Commands.hpp"
#include "Escape.hpp"
#include "Records.hpp"
#include "SessionReport.hpp"
#include "SharedSnapshot.hpp"
#include "Table.hpp"

namespace idlewyn::command {
namespace {

// What status bars read: texts in their markup, and a class for their style sheet.
struct WaybarRecord {
  WaybarRecord(std::string text, std::string tooltip, std::string alt)
      : text(std::move(text)), tooltip(std::move(tooltip)), alt(alt), cssClass(std::move(alt)) {}
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

// A line for each agent whose sessions are older than the snapshot.
std::vector<std::string> staleLines(const LastSeen& seen) {
  std::vector<std::string> lines;
  for (const auto& [agent, answered] : seen.answered) {
    if ((seen.snapshot.updatedAt - answered).count() < 1) continue;
    const double age = (DateClock::now() - answered).count();
    lines.push_back(std::string(shortName(agent)) + ": last seen " + elapsedText(age) + " ago.");
  }
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
  const SnapshotLead lead(seen.snapshot);
  std::vector<std::string> lines{lead.summary()};
  for (std::string& line : staleLines(seen))
    lines.push_back(std::move(line));
  for (const AgentSession& session : seen.snapshot.sorted()) {
    lines.push_back(std::string(label(session.status)) + "  " +
                    cutToWidth(escaped(session.projectName()), widestProject) + ": " +
                    escaped(session.title));
  }
  return WaybarRecord(lead.isEmpty ? "" : markup(std::to_string(lead.count) + " " + lead.label),
                      tooltipOf(std::move(lines)),
                      lead.isEmpty ? "none" : std::string(rawValue(lead.status)));
}

void reportAge(Output& output, const LastSeen& seen) {
  if (seen.snapshot.updatedAt == platform::distantPast) return;
  const double age = (DateClock::now() - seen.snapshot.updatedAt).count();
  std::string text = "As of " + elapsedText(age) + " ago.";
  for (const std::string& line : staleLines(seen))
    text += "\n" + line;
  output.line(toned(text, Tone::faint, output.style));
}

}  // namespace

// Neither the network nor the keychain: this runs every few seconds in status bars.
ExitCode runStatus(const Arguments& given, Surroundings& with) {
  const LastSeen seen = lastSeen(given.agent());
  const SessionSnapshot& snapshot = seen.snapshot;
  const std::string format = given.text("--format");
  if (format == "waybar") {
    with.output.json(waybarRecord(seen));
  } else if (with.output.isJSON) {
    with.output.json(SessionsRecord(snapshot, {}, std::nullopt));
  } else if (format == "line") {
    with.output.line(escaped(SnapshotLead(snapshot).summary()));
  } else {
    reportSnapshot(with.output, snapshot, "", DateClock::now());
    reportAge(with.output, seen);
  }
  return ExitCode::ok;
}

}  // namespace idlewyn::command

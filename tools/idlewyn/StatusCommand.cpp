// SPDX-License-Identifier: MIT
#include <IdlewynKit/storage/SnapshotStore.hpp>

#include "Commands.hpp"
#include "Escape.hpp"
#include "Records.hpp"
#include "SessionReport.hpp"

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

WaybarRecord waybarRecord(const SessionSnapshot& snapshot) {
  const SnapshotLead lead(snapshot);
  std::string tooltip = markup(lead.summary());
  for (const AgentSession& session : snapshot.sorted()) {
    tooltip += "\n" + std::string(label(session.status)) + "  " +
               markup(escaped(session.projectName() + ": " + session.title));
  }
  return WaybarRecord(lead.isEmpty ? "" : markup(std::to_string(lead.count) + " " + lead.label),
                      tooltip, lead.isEmpty ? "none" : std::string(rawValue(lead.status)));
}

}  // namespace

// Neither the network nor the keychain: this runs every few seconds in status bars.
ExitCode runStatus(const Arguments& given, Surroundings& with) {
  SessionSnapshot snapshot = SnapshotStore::shared().load();
  if (const auto agent = given.agent()) snapshot.sessions = snapshot.sessionsFor(*agent);
  const std::string format = given.text("--format");
  if (format == "waybar") {
    with.output.json(waybarRecord(snapshot));
  } else if (with.output.isJSON) {
    with.output.json(SessionsRecord(snapshot, {}, std::nullopt));
  } else if (format == "line") {
    with.output.line(escaped(SnapshotLead(snapshot).summary()));
  } else {
    reportSnapshot(with.output, snapshot, "", DateClock::now());
    if (snapshot.updatedAt != platform::distantPast) {
      const double age = (DateClock::now() - snapshot.updatedAt).count();
      with.output.line(
          toned("As of " + elapsedText(age) + " ago.", Tone::faint, with.output.style));
    }
  }
  return ExitCode::ok;
}

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#include <tools/idlewyn/render/SessionCards.hpp>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <IdlewynKit/model/SnapshotLead.hpp>
#include <IdlewynKit/platform/text/DisplayText.hpp>

namespace idlewyn::command {
namespace {

constexpr double cardWidth = 400;
constexpr double contentWidth =
    cardWidth - 2 * Spacing::m - Layout::iconColumn - Spacing::s;  // right of the icon
constexpr std::size_t cardsPerColumn = 12, mostColumns = 4;

// On a light ground what is dark by night, and the other way round.
constexpr Color primary(Palette::ink, Palette::OnDark::primary);
constexpr Color secondary(Palette::ink.opacity(0.72), Palette::OnDark::secondary);
constexpr Color card(Color::white(), Palette::OnDark::primary.opacity(0.08));
constexpr Color nightCard = Palette::OnDark::primary.opacity(0.16);
constexpr LinearGradient ground(Color(Palette::moon, Palette::ink),
                                Color(Palette::OnDark::primary, Palette::inkDeep));

View headline(const SnapshotLead& lead) {
  if (lead.isEmpty()) {
    return Row({Symbol("moon.zzz.fill").font(Typography::heroGlyph).foreground(secondary),
                Text(lead.summary()).font(Typography::screenTitle).foreground(primary)})
        .accessibilityLabel(lead.summary());
  }
  const View count =
      Text(std::to_string(lead.count())).font(Typography::bigCount).foreground(tint(lead.status()));
  const View others =
      lead.others().empty()
          ? View()
          : View(Text(lead.others())).font(Typography::supporting).foreground(secondary);
  return Row({count,
              Column({Text(lead.label()).font(Typography::title).foreground(primary), others},
                     HorizontalAlignment::leading, Spacing::hairline)},
             VerticalAlignment::centre, Spacing::m)
      .accessibilityLabel(lead.summary());
}

View promptPanel(const PermissionPrompt& prompt) {
  const Color color = tint(SessionStatus::waitingForInput);
  std::vector<View> lines{
      Text(displayLine(prompt.toolName)).font(Typography::metaStrong).foreground(color),
      Text(displayBlock(prompt.detail))
          .font(Typography::monoBody)
          .code()
          .foreground(primary)
          .lineLimit(8)};
  if (prompt.alwaysRule && !prompt.alwaysRule->empty()) {
    lines.push_back(Text("Always: " + displayBlock(*prompt.alwaysRule))
                        .font(Typography::mono)
                        .code()
                        .foreground(secondary)
                        .lineLimit(2));
  }
  return Column(std::move(lines), HorizontalAlignment::leading, Spacing::xs)
      .frame(contentWidth - 2 * Spacing::m, std::nullopt, {HorizontalAlignment::leading})
      .padding(Edges::horizontal, Spacing::m)
      .padding(Edges::vertical, Spacing::s)
      .background(color.opacity(Palette::Tint::fill), Rectangle{Radius::small});
}

/// A session and, of an agent that does not answer, when it was last seen.
struct Shown {
  AgentSession session;
  std::string ago;
  bool isOld() const { return !ago.empty(); }
};

// What the session does, or has done, or wants.
View content(const Shown& shown) {
  const AgentSession& session = shown.session;
  if (session.permission && shown.isOld()) {
    return Text("It waited for an answer then.").font(Typography::supporting).foreground(secondary);
  }
  if (session.permission) return promptPanel(*session.permission);
  if (const auto activity = session.currentActivity()) {
    return ActivityLine(displayLine(*activity), secondary, true, false);
  }
  if (const auto summary = session.displaySummary()) {
    return Text(displayLine(*summary))
        .font(Typography::supporting)
        .foreground(primary)
        .lineLimit(3);
  }
  return View();
}

View project(const AgentSession& session) {
  const View name = Text(displayLine(session.projectName()))
                        .font(Typography::headline)
                        .foreground(primary)
                        .lineLimit(1);
  return Row({name, ProviderBadge(session.provider, true)});
}

View state(const Shown& shown) {
  const AgentSession& session = shown.session;
  if (shown.isOld()) {
    return Text(std::string(label(session.status)) + ", " + shown.ago)
        .font(Typography::metaStrong)
        .foreground(secondary)
        .lineLimit(1);
  }
  const View status = Text(std::string(label(session.status)))
                          .font(Typography::metaStrong)
                          .foreground(tint(session.status));
  const View elapsed = View(ElapsedLabel(session)).font(Typography::number).foreground(secondary);
  return Row({status, elapsed}, VerticalAlignment::centre, Spacing::xs).lineLimit(1);
}

View title(const AgentSession& session) {
  return Text(displayLine(session.title))
      .font(Typography::supporting)
      .foreground(secondary)
      .lineLimit(1);
}

View progress(const AgentSession& session) {
  const auto tasks = session.taskProgress();
  if (!tasks) return View();
  return TaskProgressView(tasks->done, tasks->total, tint(session.status));
}

// At night the filter takes dark greys to black: cards stand out more before it.
struct CardSurface {
  View body(const Environment& environment) const {
    return content.background(environment.value<IsNightMode>() ? nightCard : card,
                              Rectangle{Radius::card});
  }

  View content;
};

View sessionCard(const Shown& shown) {
  const AgentSession& session = shown.session;
  const View icon =
      View(StatusIndicator(session.status, StatusIconSize::medium)).frame(Layout::iconColumn);
  const View heading = Column({Row({project(session), Spacer(), state(shown)}),
                               Row({title(session), Spacer(), progress(session)})},
                              HorizontalAlignment::leading, Spacing::hairline);
  const View text = Column({heading, content(shown)}, HorizontalAlignment::leading, Spacing::s);
  return CardSurface{
      Row({icon, text}, VerticalAlignment::top, Spacing::s).padding(Spacing::m).frame(cardWidth)};
}

std::vector<View> columns(const std::vector<Shown>& sessions) {
  const std::size_t count = std::clamp<std::size_t>(
      (sessions.size() + cardsPerColumn - 1) / cardsPerColumn, 1, mostColumns);
  const std::size_t height = (sessions.size() + count - 1) / count;
  std::vector<View> result;
  for (std::size_t first = 0; first < sessions.size(); first += height) {
    std::vector<View> cards;
    for (std::size_t i = first; i < std::min(first + height, sessions.size()); ++i)
      cards.push_back(sessionCard(sessions[i]));
    result.push_back(Column(std::move(cards), HorizontalAlignment::leading, Spacing::s));
  }
  return result;
}

}  // namespace

SessionCards::SessionCards(SessionSnapshot snapshot, OldAgents old, Date now)
    : snapshot(std::move(snapshot)), old(std::move(old)), now(now) {}

View SessionCards::body() const {
  std::vector<Shown> shown;
  for (AgentSession& session : inDisplayOrder(snapshot, old)) {
    const bool isOld = old.contains(session.provider);
    const double age = (now - ageBase(session, old, now)).count();
    shown.push_back({std::move(session), isOld ? agoText(age) : ""});
  }
  std::vector<View> parts{headline(SnapshotLead(live(snapshot, old)))};
  if (!old.empty()) {
    parts.push_back(
        Text(summaryOf(snapshot, old, now)).font(Typography::supporting).foreground(secondary));
  }
  parts.push_back(Row(columns(shown), VerticalAlignment::top, Spacing::m));
  return Column(std::move(parts), HorizontalAlignment::leading, Spacing::l)
      .padding(Spacing::xl)
      .background(ground, Rectangle());
}

}  // namespace idlewyn::command

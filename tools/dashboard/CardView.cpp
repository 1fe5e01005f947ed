// SPDX-License-Identifier: MIT
#include <tools/dashboard/CardView.hpp>

#include <string>
#include <utility>
#include <vector>

#include <IdlewynKit/platform/text/DisplayText.hpp>

namespace dashboard {

using namespace idlewyn;
using platform::Column;
using platform::HorizontalAlignment;
using platform::Row;
using platform::Spacer;
using platform::Symbol;
using platform::Text;
using platform::VerticalAlignment;

namespace {

constexpr Color primary(Palette::ink, Palette::OnDark::primary);
constexpr Color secondary(Palette::ink.opacity(0.72), Palette::OnDark::secondary);

View state(const AgentSession& session, std::optional<Date> oldSince) {
  if (oldSince) {
    const View words = Text(std::string(label(session.status)) + " when last seen");
    return Row({words, Text::relative(*oldSince), Text("ago")}, VerticalAlignment::centre,
               Spacing::xs)
        .font(Typography::metaStrong)
        .foreground(secondary)
        .lineLimit(1);
  }
  const View status = Text(std::string(label(session.status)))
                          .font(Typography::metaStrong)
                          .foreground(tint(session.status));
  // A running timer explains itself; the age of the last change needs a word.
  const View elapsed = View(ElapsedLabel(session)).font(Typography::number).foreground(secondary);
  const View ago = session.runningSince()
                       ? View()
                       : View(Text("ago").font(Typography::meta).foreground(secondary));
  return Row({status, elapsed, ago}, VerticalAlignment::centre, Spacing::xs).lineLimit(1);
}

View progress(const AgentSession& session) {
  const auto tasks = session.taskProgress();
  return tasks ? View(TaskProgressView(tasks->done, tasks->total, tint(session.status))) : View();
}

View doing(const AgentSession& session, bool isOld) {
  if (isOld && session.permission)
    return Text("It waited for an answer then.").font(Typography::supporting).foreground(secondary);
  if (session.permission)
    return Text("Its question is above.").font(Typography::supporting).foreground(secondary);
  if (const auto activity = session.currentActivity())
    return ActivityLine(displayLine(*activity), secondary, true, false);
  if (const auto summary = session.displaySummary())
    return Text(displayLine(*summary))
        .font(Typography::supporting)
        .foreground(primary)
        .lineLimit(3);
  return View();
}

}  // namespace

View HeadlineView::body() const {
  return Row({Text(summary).font(Typography::screenTitle).foreground(tint(status)).lineLimit(1),
              Spacer()})
      .accessibilityLabel(summary);
}

View AskerView::body() const {
  return Row({Text(text).font(Typography::metaStrong).foreground(isOpen ? primary : secondary),
              Spacer()})
      .lineLimit(1);
}

View QuestionView::body() const {
  const View tool = Text(displayLine(toolName)).font(Typography::headline).foreground(primary);
  const View question =
      Text(displayBlock(detail)).font(Typography::monoBody).foreground(primary).code();
  return Column({Row({tool, Spacer()}), Row({question, Spacer()})}, HorizontalAlignment::leading,
                Spacing::xs);
}

View RuleView::body() const {
  return Row(
      {Text("Always adds: " + displayBlock(rule)).font(Typography::mono).foreground(primary).code(),
       Spacer()});
}

View CardView::body() const {
  // The status is said once, by its word.
  const View icon = View(StatusIndicator(session.status, StatusIconSize::medium))
                        .frame(Layout::iconColumn)
                        .accessibilityElement();
  const View name = Text(displayLine(session.projectName()))
                        .font(Typography::headline)
                        .foreground(primary)
                        .lineLimit(1);
  const View title = Text(displayLine(session.title))
                         .font(Typography::supporting)
                         .foreground(secondary)
                         .lineLimit(1);
  const View heading = Column({Row({name, View(ProviderBadge(session.provider, true)).lineLimit(1),
                                    Spacer(), state(session, oldSince)}),
                               Row({title, Spacer(), progress(session)})},
                              HorizontalAlignment::leading, Spacing::hairline);
  const View text = Column({heading, doing(session, oldSince.has_value())},
                           HorizontalAlignment::leading, Spacing::s);
  return Row({icon, text}, VerticalAlignment::top, Spacing::s);
}

// Red is dark when the night's filter has made grey of it.
View TroubleView::body(const platform::Environment& environment) const {
  const Color color = environment.value<IsNightMode>() ? primary : tint(SessionStatus::failed);
  std::string sentence = displayLine(trouble.sentence);
  sentence.insert(0, std::string(displayName(trouble.provider)) + ": ");
  std::vector<View> parts{
      Text(sentence).font(Typography::supporting).foreground(color).lineLimit(4)};
  if (trouble.lastSeen) {
    parts.push_back(Row({Text(" Last seen").font(Typography::meta),
                         Text::relative(*trouble.lastSeen).font(Typography::meta),
                         Text("ago").font(Typography::meta)},
                        VerticalAlignment::centre, Spacing::xs)
                        .foreground(secondary)
                        .lineLimit(1));
  }
  parts.push_back(Spacer());
  return Row(std::move(parts), VerticalAlignment::centre, Spacing::s);
}

}  // namespace dashboard

// SPDX-License-Identifier: MIT
// Draws the stored snapshot, or invented sessions where there is none, without a display server.
//
//     draw sessions.svg
#include <iostream>

#include <IdlewynKit/IdlewynKit.hpp>
#include <IdlewynKit/UI.hpp>

using namespace idlewyn;

namespace {

// region card
View card(const AgentSession& session) {
  const View name = Text(session.projectName()).font(Typography::headline);
  const View head = Row({StatusIndicator(session.status, StatusIconSize::medium), name, Spacer(),
                         ProviderBadge(session.provider, /*compact=*/true)});
  std::vector<View> lines{head};
  if (const std::optional<std::string> activity = session.currentActivity()) {
    lines.push_back(ActivityLine(*activity, tint(session.status), /*showsIcon=*/true,
                                 /*compact=*/false));
  }
  std::vector<View> foot{View(ElapsedLabel(session)).font(Typography::meta), Spacer()};
  if (const std::optional<TaskProgress> tasks = session.taskProgress()) {
    foot.push_back(TaskProgressView(tasks->done, tasks->total, tint(session.status)));
  }
  lines.push_back(Row(std::move(foot)));
  return Column(std::move(lines), HorizontalAlignment::leading, Spacing::s)
      .padding(Spacing::m)
      .id(session.id);
}
// end region

// region draw
void draw(const SessionSnapshot& snapshot, const std::filesystem::path& file) {
  std::vector<View> cards;
  for (const AgentSession& session : snapshot.sorted())
    cards.push_back(card(session));
  const View list = Column(std::move(cards), HorizontalAlignment::leading, Spacing::hairline);
  const Frame frame = frameOf(list, Environment(), Proposal{.width = 320}, DateClock::now());
  paintSVG(frame, file);  // or paintPNG(frame, 2.0, file), paintPDF
}
// end region

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  try {
    SessionSnapshot snapshot = SnapshotStore::shared().load();
    if (snapshot.sessions.empty()) {
      snapshot = SessionSnapshot(DemoSessions::sessions(AgentProvider::claude, DateClock::now()),
                                 DateClock::now());
    }
    draw(snapshot, argv[1]);
    return 0;
  } catch (const PaintError& error) {
    std::cerr << error.what() << "\n";
    return 1;
  }
}

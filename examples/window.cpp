// SPDX-License-Identifier: MIT
// The stored sessions in a GTK 4 window, or generated ones where nothing is stored.
#include <optional>
#include <string>
#include <vector>

#include <gtk/gtk.h>

#include <IdlewynKit/IdlewynKit.hpp>
#include <IdlewynKit/UI.hpp>
#include <IdlewynKit/gtk/ViewWidget.hpp>

using namespace idlewyn;

namespace {

// region sessions
View row(const AgentSession& session) {
  const View name = Text(displayLine(session.projectName())).font(Typography::headline);
  return Row({StatusIndicator(session.status, StatusIconSize::medium), name, Spacer(),
              ElapsedLabel(session)})
      .id(session.id);
}

View list(const SessionSnapshot& snapshot) {
  std::vector<View> rows;
  for (const AgentSession& session : snapshot.sorted())
    rows.push_back(row(session));
  return Column(std::move(rows), HorizontalAlignment::leading, Spacing::s).padding(Spacing::m);
}
// end region

SessionSnapshot stored() {
  const SessionSnapshot snapshot = SnapshotStore::shared().load();
  if (!snapshot.sessions.empty()) return snapshot;
  return SessionSnapshot(DemoSessions::sessions(AgentProvider::claude, DateClock::now()),
                         DateClock::now());
}

// region window
void activate(GtkApplication* application, gpointer) {
  const gtk::ViewWidget sessions(list(stored()));  // GTK keeps the widget
  GtkWidget* window = gtk_application_window_new(application);
  gtk_window_set_title(GTK_WINDOW(window), "Sessions");
  gtk_window_set_default_size(GTK_WINDOW(window), 420, -1);
  gtk_window_set_child(GTK_WINDOW(window), sessions.widget());
  gtk_window_present(GTK_WINDOW(window));
}
// end region

}  // namespace

int main(int argc, char** argv) {
  GtkApplication* application =
      gtk_application_new("org.example.sessions", G_APPLICATION_NON_UNIQUE);
  g_signal_connect(application, "activate", G_CALLBACK(activate), nullptr);
  const int status = g_application_run(G_APPLICATION(application), argc, argv);
  g_object_unref(application);
  return status;
}

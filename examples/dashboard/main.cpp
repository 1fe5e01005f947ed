// SPDX-License-Identifier: MIT
// A window with every paired agent's sessions. Without pairings, or with --demo, it shows
// generated sessions.
#include <cstdlib>
#include <memory>
#include <vector>

#include <gtk/gtk.h>

#include <IdlewynKit/IdlewynKit.hpp>

#include "DashboardModel.hpp"
#include "DashboardWindow.hpp"

namespace {

using namespace idlewyn;

gboolean wantsDemo = FALSE;

std::vector<Connection> connections() {
  std::vector<Connection> paired;
  if (wantsDemo == FALSE) paired = ConnectionStore::shared().load();
  if (paired.empty()) {
    paired.push_back(Connection::demo(AgentProvider::claude));
    paired.push_back(Connection::demo(AgentProvider::codex));
  }
  return paired;
}

// A second start brings the window of the first to the front.
void activate(GtkApplication* application, gpointer) {
  if (GtkWindow* open = gtk_application_get_active_window(application)) {
    gtk_window_present(open);
    return;
  }
  auto model = std::make_shared<dashboard::DashboardModel>(connections());
  auto* window = new dashboard::DashboardWindow(application, model);
  g_signal_connect_swapped(window->window(), "destroy", G_CALLBACK(+[](gpointer data) {
                             delete static_cast<dashboard::DashboardWindow*>(data);
                           }),
                           window);
  model->start();
  gtk_window_present(window->window());
}

}  // namespace

int main(int argc, char** argv) {
  const GOptionEntry options[] = {{"demo", 'd', G_OPTION_FLAG_NONE, G_OPTION_ARG_NONE, &wantsDemo,
                                   "Show generated sessions, whatever is paired", nullptr},
                                  {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};
  GtkApplication* application =
      gtk_application_new("app.vantor.idlewyn.dashboard", G_APPLICATION_DEFAULT_FLAGS);
  g_application_add_main_option_entries(G_APPLICATION(application), options);
  g_signal_connect(application, "activate", G_CALLBACK(activate), nullptr);
  const int status = g_application_run(G_APPLICATION(application), argc, argv);
  g_object_unref(application);
  return status;
}

// SPDX-License-Identifier: MIT
// A window with every paired agent's sessions. Without pairings, or with --demo, it shows
// generated sessions and says so.
#include <memory>
#include <stdexcept>
#include <vector>

#include <gtk/gtk.h>

#include <IdlewynKit/IdlewynKit.hpp>
#include <IdlewynKit/platform/secrets/KeychainPlace.hpp>

#include <tools/dashboard/DashboardModel.hpp>
#include <tools/dashboard/DashboardWindow.hpp>

namespace {

using namespace idlewyn;

gboolean wantsDemo = FALSE;

const std::vector<Connection>& demo() {
  static const std::vector<Connection> both{Connection::demo(AgentProvider::claude),
                                            Connection::demo(AgentProvider::codex)};
  return both;
}

// That there are no pairings must be known before anything is invented: what can't be read is
// thrown, where `load` alone would give an empty list.
std::vector<Connection> connections() {
  if (wantsDemo != FALSE) return demo();
  const ConnectionStore& store = ConnectionStore::shared();
  const auto item = store.keychain.data("connections");
  if (!item && platform::damagedKeychainFile())
    throw KeychainError(platform::KeychainStatus::invalidKeychain);
  std::vector<Connection> paired = store.load();
  if (item && paired.empty()) throw std::runtime_error("The list of paired agents is damaged.");
  return item ? paired : demo();
}

// A second start brings the window of the first to the front.
void activate(GtkApplication* application, gpointer) {
  if (GtkWindow* open = gtk_application_get_active_window(application)) {
    gtk_window_present(open);
    return;
  }
  auto model = std::make_shared<dashboard::DashboardModel>(connections);
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

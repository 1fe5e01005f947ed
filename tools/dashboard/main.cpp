// SPDX-License-Identifier: MIT
// A window with every paired agent's sessions, and the answers to their questions. One process
// serves all starts: a further one brings the window to the front, or hands over its link.
#include <memory>
#include <utility>

#include <adwaita.h>

#include <tools/dashboard/DashboardModel.hpp>
#include <tools/dashboard/DashboardWindow.hpp>
#include <tools/dashboard/Pairing.hpp>

namespace {

using dashboard::DashboardWindow;

gboolean wantsDemo = FALSE;
DashboardWindow* shown = nullptr;  // at most one, on GTK's thread

DashboardWindow& window(GApplication* application) {
  if (shown == nullptr) {
    auto model = std::make_shared<dashboard::DashboardModel>(dashboard::pairedAgents,
                                                             std::exchange(wantsDemo, FALSE) != 0);
    shown = new DashboardWindow(ADW_APPLICATION(application), model);
    g_signal_connect(
        shown->window(), "destroy",
        G_CALLBACK(+[](GtkWidget*, gpointer) { delete std::exchange(shown, nullptr); }), nullptr);
    model->start();
  }
  gtk_window_present(shown->window());
  return *shown;
}

void activate(GApplication* application, gpointer) { window(application); }

// Of the links that are handed over the first counts: a question at a time.
void openLinks(GApplication* application, gpointer files, int count, const char*, gpointer) {
  DashboardWindow& dashboard = window(application);
  if (count == 0) return;
  char* link = g_file_get_uri(static_cast<GFile**>(files)[0]);
  dashboard.offerPairing(link);
  g_free(link);
}

void showPrompt(GSimpleAction*, GVariant* promptID, gpointer application) {
  window(G_APPLICATION(application)).goToPrompt(g_variant_get_string(promptID, nullptr));
}

void addActions(GApplication* application) {
  GSimpleAction* action = g_simple_action_new("show-prompt", G_VARIANT_TYPE_STRING);
  g_signal_connect(action, "activate", G_CALLBACK(showPrompt), application);
  g_action_map_add_action(G_ACTION_MAP(application), G_ACTION(action));
  g_object_unref(action);
}

}  // namespace

int main(int argc, char** argv) {
  const GOptionEntry options[] = {{"demo", 'd', G_OPTION_FLAG_NONE, G_OPTION_ARG_NONE, &wantsDemo,
                                   "Show invented sessions, whatever is paired", nullptr},
                                  {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};
  AdwApplication* application =
      adw_application_new("app.vantor.idlewyn.dashboard", G_APPLICATION_HANDLES_OPEN);
  g_application_add_main_option_entries(G_APPLICATION(application), options);
  g_signal_connect(application, "activate", G_CALLBACK(activate), nullptr);
  g_signal_connect(application, "open", G_CALLBACK(openLinks), nullptr);
  addActions(G_APPLICATION(application));
  const int status = g_application_run(G_APPLICATION(application), argc, argv);
  g_object_unref(application);
  return status;
}

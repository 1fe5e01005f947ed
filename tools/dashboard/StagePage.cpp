// SPDX-License-Identifier: MIT
#include <tools/dashboard/StagePage.hpp>

#include <string>
#include <utility>

#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <tools/dashboard/Widgets.hpp>

namespace dashboard {

using namespace idlewyn;

namespace {

struct Words {
  const char* icon;
  const char* title;
  std::string description;
};

// Sentences of relays are in it.
std::string troubleText(const DashboardModel& model) {
  std::string text;
  for (const Trouble& trouble : model.troubles()) {
    if (!text.empty()) text += "\n";
    text += std::string(displayName(trouble.provider)) + ": " + displayLine(trouble.sentence);
  }
  return text;
}

Words wordsFor(const DashboardModel& model) {
  switch (model.stage()) {
    case Stage::unreadable:
      return {"dialog-warning-symbolic", "The Pairings Can’t Be Read", displayLine(model.reason())};
    case Stage::failed: return {"network-offline-symbolic", "No Agent Answers", troubleText(model)};
    case Stage::empty:
      return {"weather-clear-night-symbolic", "No Sessions",
              "The agents answer. Their sessions appear here as soon as they begin."};
    default: break;
  }
  return {"network-transmit-receive-symbolic", "Asking the Agents", ""};
}

}  // namespace

StagePage::StagePage(DashboardModel& model, std::function<void()> tryAgain)
    : model_(model),
      page_(ADW_STATUS_PAGE(adw_status_page_new())),
      spinner_(gtk_spinner_new()),
      again_(makeButton("_Try Again", std::move(tryAgain))) {
  g_object_ref_sink(page_);
  GtkWidget* actions = makeBox(GTK_ACCESSIBLE_ROLE_GROUP, 12);
  gtk_widget_set_size_request(spinner_, 32, 32);
  gtk_box_append(GTK_BOX(actions), spinner_);
  gtk_box_append(GTK_BOX(actions), again_);
  adw_status_page_set_child(page_, actions);
}

StagePage::~StagePage() { g_object_unref(page_); }

void StagePage::show() {
  const Stage stage = model_.stage();
  const Words words = wordsFor(model_);
  adw_status_page_set_icon_name(page_, words.icon);
  adw_status_page_set_title(page_, words.title);
  setDescription(page_, words.description);
  const bool isLoading = stage == Stage::loading;
  gtk_widget_set_visible(spinner_, isLoading ? TRUE : FALSE);
  gtk_spinner_set_spinning(GTK_SPINNER(spinner_), isLoading ? TRUE : FALSE);
  const bool canHelp = stage == Stage::unreadable || stage == Stage::failed;
  gtk_widget_set_visible(again_, canHelp ? TRUE : FALSE);
}

}  // namespace dashboard

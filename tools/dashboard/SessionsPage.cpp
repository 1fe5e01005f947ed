// SPDX-License-Identifier: MIT
#include <tools/dashboard/SessionsPage.hpp>

#include <algorithm>
#include <set>

#include <IdlewynKit/model/SnapshotLead.hpp>

#include <tools/dashboard/Widgets.hpp>

namespace dashboard {

using namespace idlewyn;

SessionsPage::SessionsPage(DashboardModel& model)
    : model_(model),
      scrolled_(gtk_scrolled_window_new()),
      column_(makeBox(GTK_ACCESSIBLE_ROLE_GROUP, Spacing::m)),
      prompts_(column_,
               [this](const OpenPrompt& prompt, PermissionDecision decision) {
                 model_.answer(prompt.provider, prompt.prompt.id, decision);
               }),
      demo_(makeDemoBanner()),
      troubles_(makeBox(GTK_ACCESSIBLE_ROLE_GROUP, Spacing::xs)),
      cards_(makeBox(GTK_ACCESSIBLE_ROLE_LIST, Spacing::m)) {
  g_object_ref_sink(scrolled_);
  makeParts();
  prompts_.losesFocus = [this] { focus(); };
  GtkScrolledWindow* scrolled = GTK_SCROLLED_WINDOW(scrolled_);
  gtk_scrolled_window_set_policy(scrolled, GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
  gtk_scrolled_window_set_child(scrolled, makeClamp(column_));
}

SessionsPage::~SessionsPage() { g_object_unref(scrolled_); }

void SessionsPage::makeParts() {
  gtk_widget_set_margin_top(column_, Spacing::l);
  gtk_widget_set_margin_bottom(column_, Spacing::l);
  gtk_widget_set_focusable(headline_.widget(), TRUE);
  gtk_widget_add_css_class(headline_.widget(), "headline");
  setAccessibleName(headline_.widget(), "Summary");
  setAccessibleName(cards_, "Sessions");
  for (GtkWidget* part : {demo_, headline_.widget(), prompts_.widget(), troubles_, cards_})
    gtk_box_append(GTK_BOX(column_), part);
}

GtkWidget* SessionsPage::makeDemoBanner() {
  GtkWidget* banner = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, Spacing::m);
  gtk_widget_add_css_class(banner, "demo");
  GtkWidget* text = makeText("These sessions are invented.");
  gtk_widget_set_hexpand(text, TRUE);
  gtk_box_append(GTK_BOX(banner), text);
  GtkWidget* leave = makeButton("_Leave Demo", [this] { model_.setDemo(false); });
  gtk_widget_set_valign(leave, GTK_ALIGN_CENTER);
  gtk_box_append(GTK_BOX(banner), leave);
  return banner;
}

void SessionsPage::show(Look look) {
  const command::OldAgents old = model_.oldAgents();
  gtk_widget_set_visible(demo_, model_.isDemo() ? TRUE : FALSE);
  showHeadline(old, look);
  prompts_.show(
      command::live(model_.snapshot(), old).sessions,
      [this](const std::string& promptID) { return model_.isAnswering(promptID); }, look);
  gtk_widget_set_visible(prompts_.widget(), prompts_.isEmpty() ? FALSE : TRUE);
  prompts_.swept = [this] {
    gtk_widget_set_visible(prompts_.widget(), prompts_.isEmpty() ? FALSE : TRUE);
  };
  showTroubles(look);
  showCards(old, look);
}

void SessionsPage::showHeadline(const command::OldAgents& old, Look look) {
  const SnapshotLead lead(command::live(model_.snapshot(), old));
  headline_.show(HeadlineView{command::summaryOf(model_.snapshot(), old, DateClock::now()),
                              lead.isEmpty() ? SessionStatus::idle : lead.status()},
                 look);
}

void SessionsPage::showTroubles(Look look) {
  const std::vector<Trouble> troubles = model_.troubles();
  while (troubleLines_.size() > troubles.size()) {
    gtk_box_remove(GTK_BOX(troubles_), troubleLines_.back()->widget());
    troubleLines_.pop_back();
  }
  while (troubleLines_.size() < troubles.size()) {
    troubleLines_.push_back(std::make_unique<NightWidget<TroubleView>>());
    gtk_box_append(GTK_BOX(troubles_), troubleLines_.back()->widget());
  }
  for (std::size_t i = 0; i < troubles.size(); ++i)
    troubleLines_[i]->show(TroubleView{troubles[i]}, look);
  gtk_widget_set_visible(troubles_, troubles.empty() ? FALSE : TRUE);
}

// Cards stay with their sessions: those that remain are moved, never made anew.
void SessionsPage::showCards(const command::OldAgents& old, Look look) {
  std::vector<CardKey> keys;
  std::set<CardKey> seen;
  for (const AgentSession& session : command::inDisplayOrder(model_.snapshot(), old)) {
    CardKey key{session.provider, session.id};
    if (!seen.insert(key).second) continue;
    auto& card = shown_[key];
    if (!card) {
      card = std::make_unique<SessionCard>();
      gtk_box_append(GTK_BOX(cards_), card->widget());
      order_.push_back(key);
    }
    const auto agent = old.find(session.provider);
    card->show(session, agent == old.end() ? std::nullopt : std::optional<Date>(agent->second),
               look);
    keys.push_back(std::move(key));
  }
  std::erase_if(shown_, [&](const auto& entry) {
    if (seen.contains(entry.first)) return false;
    gtk_box_remove(GTK_BOX(cards_), entry.second->widget());
    return true;
  });
  std::erase_if(order_, [this](const CardKey& key) { return !shown_.contains(key); });
  if (keys != order_) order(keys);
}

void SessionsPage::order(const std::vector<CardKey>& keys) {
  GtkWidget* previous = nullptr;
  for (const CardKey& key : keys) {
    GtkWidget* widget = shown_.at(key)->widget();
    gtk_box_reorder_child_after(GTK_BOX(cards_), widget, previous);
    previous = widget;
  }
  order_ = keys;
}

void SessionsPage::focus() { gtk_widget_grab_focus(headline_.widget()); }

bool SessionsPage::goTo(const std::string& promptID) {
  const bool isThere = prompts_.goTo(promptID);
  if (isThere) guard();  // the view may have moved
  return isThere;
}

}  // namespace dashboard

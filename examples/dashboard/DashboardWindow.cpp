// SPDX-License-Identifier: MIT
#include "DashboardWindow.hpp"

#include <algorithm>

#include <IdlewynKit/UI.hpp>
#include <IdlewynKit/gtk/DesktopAppearance.hpp>

#include "CardView.hpp"
#include "Style.hpp"

namespace dashboard {

using namespace idlewyn;
using platform::Appearance;

namespace {

constexpr guint secondsToRead = 6;
constexpr int usualWidth = 460, usualHeight = 640;

template <class Function>
void onSwitched(GtkWidget* control, Function* function, gpointer data) {
  g_signal_connect_swapped(control, "notify::active", G_CALLBACK(function), data);
}

}  // namespace

DashboardWindow::DashboardWindow(GtkApplication* application,
                                 std::shared_ptr<DashboardModel> model)
    : model_(std::move(model)),
      window_(GTK_WINDOW(gtk_application_window_new(application))),
      desktop_(gtk::observeDesktop([this] { followDesktop(); })) {
  g_object_ref(window_);
  installStyle(gtk_widget_get_display(GTK_WIDGET(window_)));
  gtk_widget_add_css_class(GTK_WIDGET(window_), "dash");
  gtk_window_set_title(window_, "Sessions");
  gtk_window_set_default_size(window_, usualWidth, usualHeight);
  gtk_window_set_titlebar(window_, makeHeader());
  gtk_window_set_child(window_, makeContent());
  followDesktop();
  model_->changed = [this] { show(); };
  model_->told = [this](const std::string& message) { tell(message); };
  show();
}

DashboardWindow::~DashboardWindow() {
  model_->changed = nullptr;
  model_->told = nullptr;
  if (forget_ != 0) g_source_remove(forget_);
  g_object_unref(window_);
}

GtkWidget* DashboardWindow::makeHeader() {
  GtkWidget* header = gtk_header_bar_new();
  GtkWidget* night = gtk_switch_new();
  GtkWidget* label = gtk_label_new_with_mnemonic("_Night");
  gtk_label_set_mnemonic_widget(GTK_LABEL(label), night);
  gtk_widget_set_valign(night, GTK_ALIGN_CENTER);
  onSwitched(night, +[](gpointer self, GParamSpec*, GtkSwitch* control) {
    static_cast<DashboardWindow*>(self)->setNight(gtk_switch_get_active(control) != FALSE);
  }, this);
  gtk_header_bar_pack_end(GTK_HEADER_BAR(header), night);
  gtk_header_bar_pack_end(GTK_HEADER_BAR(header), label);
  return header;
}

GtkWidget* DashboardWindow::makeContent() {
  GtkWidget* column = gtk_box_new(GTK_ORIENTATION_VERTICAL, Spacing::m);
  gtk_widget_set_margin_start(column, Spacing::l);
  gtk_widget_set_margin_end(column, Spacing::l);
  gtk_widget_set_margin_top(column, Spacing::l);
  gtk_widget_set_margin_bottom(column, Spacing::l);
  gtk_box_append(GTK_BOX(column), headline_.widget());

  // Screen readers say its text whenever it changes.
  told_ = GTK_WIDGET(g_object_new(GTK_TYPE_LABEL, "accessible-role", GTK_ACCESSIBLE_ROLE_STATUS,
                                  "xalign", 0.0, "wrap", TRUE, "visible", FALSE, nullptr));
  gtk_widget_add_css_class(told_, "told");
  gtk_box_append(GTK_BOX(column), told_);
  troubles_ = gtk_box_new(GTK_ORIENTATION_VERTICAL, Spacing::xs);
  gtk_box_append(GTK_BOX(column), troubles_);
  cards_ = gtk_box_new(GTK_ORIENTATION_VERTICAL, Spacing::m);
  gtk_box_append(GTK_BOX(column), cards_);

  GtkWidget* scrolled = gtk_scrolled_window_new();
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scrolled), GTK_POLICY_NEVER,
                                 GTK_POLICY_AUTOMATIC);
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scrolled), column);
  return scrolled;
}

void DashboardWindow::show() {
  headline_.setView(nightMode(HeadlineView{SnapshotLead(model_->snapshot())}, isNight_));
  showTroubles();
  showCards();
}

void DashboardWindow::showTroubles() {
  const std::vector<AgentTrouble> troubles = model_->troubles();
  while (troubleLines_.size() > troubles.size()) {
    gtk_box_remove(GTK_BOX(troubles_), troubleLines_.back().widget());
    troubleLines_.pop_back();
  }
  while (troubleLines_.size() < troubles.size()) {
    troubleLines_.emplace_back();
    gtk_box_append(GTK_BOX(troubles_), troubleLines_.back().widget());
  }
  for (std::size_t i = 0; i < troubles.size(); ++i)
    troubleLines_[i].setView(nightMode(TroubleView{troubles[i]}, isNight_));
}

// Cards stay with their sessions: those that remain are moved, never made anew, and when the
// order is as it was nothing is touched, so that the keyboard stays where it is.
void DashboardWindow::showCards() {
  std::vector<CardKey> order;
  for (const AgentSession& session : model_->snapshot().sorted()) {
    CardKey key{session.provider, session.id};
    if (std::ranges::find(order, key) != order.end()) continue;
    auto& card = shown_[key];
    if (!card) {
      // The answer is for the session as it is shown when the button is pressed.
      const auto answer = [this, key](PermissionDecision decision) {
        for (const AgentSession& now : model_->snapshot().sessions)
          if (CardKey{now.provider, now.id} == key) return model_->answer(now, decision);
      };
      card = std::make_unique<SessionCard>(session, answer);
      gtk_box_append(GTK_BOX(cards_), card->widget());
      order_.push_back(key);
    }
    const bool isAnswering =
        session.permission && model_->isAnswering(session.permission->id);
    card->show(session, isAnswering, isNight_);
    order.push_back(std::move(key));
  }
  for (const CardKey& key : order_) {
    if (std::ranges::find(order, key) != order.end()) continue;
    gtk_box_remove(GTK_BOX(cards_), shown_.at(key)->widget());
    shown_.erase(key);
  }
  std::erase_if(order_, [this](const CardKey& key) { return !shown_.contains(key); });
  if (order == order_) return;
  GtkWidget* previous = nullptr;
  for (const CardKey& key : order) {
    GtkWidget* widget = shown_.at(key)->widget();
    gtk_box_reorder_child_after(GTK_BOX(cards_), widget, previous);
    previous = widget;
  }
  order_ = std::move(order);
}

void DashboardWindow::tell(const std::string& message) {
  gtk_label_set_text(GTK_LABEL(told_), message.c_str());
  gtk_widget_set_visible(told_, TRUE);
  if (forget_ != 0) g_source_remove(forget_);
  const auto forget = [](gpointer self) -> gboolean {
    auto* window = static_cast<DashboardWindow*>(self);
    window->forget_ = 0;
    gtk_widget_set_visible(window->told_, FALSE);
    return G_SOURCE_REMOVE;
  };
  forget_ = g_timeout_add_seconds(secondsToRead, forget, this);
}

void DashboardWindow::setNight(bool isNight) {
  isNight_ = isNight;
  followDesktop();
  show();
}

// At night everything is dark, whatever the desktop says: the filter makes red of it.
void DashboardWindow::followDesktop() {
  GtkWidget* window = GTK_WIDGET(window_);
  const bool isDark = gtk::desktopAppearance() == Appearance::dark;
  for (const char* look : {"light", "dark", "night"}) gtk_widget_remove_css_class(window, look);
  gtk_widget_add_css_class(window, isNight_ ? "night" : isDark ? "dark" : "light");
}

}  // namespace dashboard

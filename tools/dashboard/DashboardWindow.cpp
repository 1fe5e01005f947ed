// SPDX-License-Identifier: MIT
#include <tools/dashboard/DashboardWindow.hpp>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <variant>

#include <IdlewynKit/UI.hpp>
#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <tools/dashboard/Style.hpp>

namespace dashboard {

using namespace idlewyn;
using platform::Appearance;

namespace {

constexpr guint secondsToRead = 6;
constexpr int usualWidth = 460, usualHeight = 640;
constexpr guint halfOfFade = 600;

// What is remembered, by its name in the program's own defaults.
constexpr const char* nightKey = "night";
constexpr const char* widthKey = "width";
constexpr const char* heightKey = "height";

int rememberedLength(const char* key, int usual) {
  const auto value = UserDefaults::standard().value(key);
  const auto* length = value ? std::get_if<std::int64_t>(&*value) : nullptr;
  return length != nullptr && *length > 0 && *length <= 10'000 ? static_cast<int>(*length) : usual;
}

bool isNightRemembered() {
  return UserDefaults::standard().value(nightKey) == UserDefaults::Value(true);
}

Appearance appearanceFor(bool isNight) {
  return isNight ? Appearance::dark : gtk::desktopAppearance();
}

bool areAnimationsOn() {
  gboolean isOn = FALSE;
  g_object_get(gtk_settings_get_default(), "gtk-enable-animations", &isOn, nullptr);
  return isOn != FALSE;
}

template <class Function>
void onSwitched(GtkWidget* control, Function* function, gpointer data) {
  g_signal_connect_swapped(control, "notify::active", G_CALLBACK(function), data);
}

}  // namespace

DashboardWindow::DashboardWindow(GtkApplication* application, std::shared_ptr<DashboardModel> model)
    : model_(std::move(model)),
      window_(GTK_WINDOW(gtk_application_window_new(application))),
      desktop_(gtk::observeDesktop([this] { followDesktop(); })) {
  const bool isNight = isNightRemembered();
  look_ = Look{isNight, appearanceFor(isNight)};
  g_object_ref(window_);
  installStyle(gtk_widget_get_display(GTK_WIDGET(window_)));
  gtk_widget_add_css_class(GTK_WIDGET(window_), "dash");
  gtk_window_set_default_size(window_, rememberedLength(widthKey, usualWidth),
                              rememberedLength(heightKey, usualHeight));
  gtk_window_set_titlebar(window_, makeHeader());
  gtk_window_set_child(window_, makeContent());
  addShortcuts(application);
  followDesktop();
  model_->changed = [this] { show(); };
  model_->told = [this](const std::string& message) { tell(message); };
  show();
}

DashboardWindow::~DashboardWindow() {
  model_->changed = nullptr;
  model_->told = nullptr;
  if (forget_ != 0) g_source_remove(forget_);
  if (dress_ != 0) g_source_remove(dress_);
  g_object_unref(window_);
}

void DashboardWindow::addShortcuts(GtkApplication* application) {
  GSimpleAction* refresh = g_simple_action_new("refresh", nullptr);
  g_signal_connect_swapped(refresh, "activate", G_CALLBACK(+[](gpointer self) {
                             static_cast<DashboardWindow*>(self)->model_->refresh();
                           }),
                           this);
  g_action_map_add_action(G_ACTION_MAP(window_), G_ACTION(refresh));
  g_object_unref(refresh);
  const auto bind = [application](const char* action, std::initializer_list<const char*> keys) {
    std::vector<const char*> list(keys);
    list.push_back(nullptr);
    gtk_application_set_accels_for_action(application, action, list.data());
  };
  bind("win.refresh", {"F5", "<Control>r"});
  bind("window.close", {"<Control>w", "<Control>q"});  // it is the only window
  g_signal_connect_swapped(window_, "close-request", G_CALLBACK(+[](gpointer self) -> gboolean {
                             static_cast<DashboardWindow*>(self)->remember();
                             return FALSE;
                           }),
                           this);
}

GtkWidget* DashboardWindow::makeHeader() {
  GtkWidget* header = gtk_header_bar_new();
  title_ = gtk_label_new(nullptr);
  gtk_label_set_ellipsize(GTK_LABEL(title_),
                          PANGO_ELLIPSIZE_END);  // GTK's own would keep 5 letters
  gtk_widget_add_css_class(title_, "title");
  gtk_header_bar_set_title_widget(GTK_HEADER_BAR(header), title_);
  GtkWidget* night = gtk_switch_new();
  gtk_switch_set_active(GTK_SWITCH(night), look_.isNight ? TRUE : FALSE);
  GtkWidget* label = gtk_label_new_with_mnemonic("_Night");
  gtk_label_set_mnemonic_widget(GTK_LABEL(label), night);
  gtk_widget_set_valign(night, GTK_ALIGN_CENTER);
  onSwitched(
      night,
      +[](gpointer self, GParamSpec*, GtkSwitch* control) {
        static_cast<DashboardWindow*>(self)->setNight(gtk_switch_get_active(control) != FALSE);
      },
      this);
  gtk_header_bar_pack_end(GTK_HEADER_BAR(header), night);
  gtk_header_bar_pack_end(GTK_HEADER_BAR(header), label);
  return header;
}

GtkWidget* DashboardWindow::makeContent() {
  GtkWidget* column = gtk_box_new(GTK_ORIENTATION_VERTICAL, Spacing::m);
  gtk_widget_set_margin_start(column, Spacing::m);
  gtk_widget_set_margin_end(column, Spacing::m);
  gtk_widget_set_margin_top(column, Spacing::l);
  gtk_widget_set_margin_bottom(column, Spacing::l);
  gtk_box_append(GTK_BOX(column), headline_.widget());
  gtk_widget_set_focusable(headline_.widget(), TRUE);
  gtk_widget_add_css_class(headline_.widget(), "headline");
  gtk_accessible_update_property(GTK_ACCESSIBLE(headline_.widget()), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                 "Sessions", -1);

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
  const char* title = model_->isDemo() ? "Demo Sessions" : "Sessions";
  gtk_window_set_title(window_, title);
  gtk_label_set_text(GTK_LABEL(title_), title);
  headline_.show(HeadlineView{SnapshotLead(model_->liveSnapshot())}, look_);
  showTroubles();
  showCards();
  // From here one Tab leads to the first question, and none is answered by a stray key.
  if (gtk_window_get_focus(window_) == nullptr) gtk_widget_grab_focus(headline_.widget());
}

void DashboardWindow::showTroubles() {
  const std::vector<Trouble> troubles = model_->troubles();
  while (troubleLines_.size() > troubles.size()) {
    gtk_box_remove(GTK_BOX(troubles_), troubleLines_.back()->widget());
    troubleLines_.pop_back();
  }
  while (troubleLines_.size() < troubles.size()) {
    troubleLines_.push_back(std::make_unique<NightWidget<TroubleView>>());
    gtk_box_append(GTK_BOX(troubles_), troubleLines_.back()->widget());
  }
  for (std::size_t i = 0; i < troubles.size(); ++i)
    troubleLines_[i]->show(TroubleView{troubles[i]}, look_);
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
        for (const AgentSession& now : model_->liveSnapshot().sessions)
          if (CardKey{now.provider, now.id} == key) return model_->answer(now, decision);
      };
      card = std::make_unique<SessionCard>(answer);
      gtk_box_append(GTK_BOX(cards_), card->widget());
      order_.push_back(key);
    }
    const bool isAnswering = session.permission && model_->isAnswering(session.permission->id);
    card->show(session, model_->oldSince(session.provider), isAnswering, look_);
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
  gtk_label_set_text(GTK_LABEL(told_), displayLine(message).c_str());
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
  UserDefaults::standard().set(nightKey, isNight);
  look_.isNight = isNight;
  followDesktop();
  show();
}

// GTK's own parts fade from look to look. What is drawn has its colours of light or of dark, so
// it changes over in the middle, where both can be read.
void DashboardWindow::followDesktop() {
  GtkWidget* window = GTK_WIDGET(window_);
  const char* wanted = look_.isNight                                  ? "night"
                       : gtk::desktopAppearance() == Appearance::dark ? "dark"
                                                                      : "light";
  for (const char* look : {"light", "dark", "night"})
    if (g_strcmp0(look, wanted) != 0) gtk_widget_remove_css_class(window, look);
  gtk_widget_add_css_class(window, wanted);
  if (dress_ != 0) g_source_remove(std::exchange(dress_, 0));
  const Appearance appearance = appearanceFor(look_.isNight);
  if (appearance == look_.appearance) return;
  if (gtk_widget_get_mapped(window) == FALSE || !areAnimationsOn()) return dress(appearance);
  const auto dressed = [](gpointer self) -> gboolean {
    auto* dashboard = static_cast<DashboardWindow*>(self);
    dashboard->dress_ = 0;
    dashboard->dress(appearanceFor(dashboard->look_.isNight));
    return G_SOURCE_REMOVE;
  };
  dress_ = g_timeout_add(halfOfFade, dressed, this);
}

void DashboardWindow::dress(Appearance appearance) {
  look_.appearance = appearance;
  show();
}

void DashboardWindow::remember() const {
  int width = 0;
  int height = 0;
  gtk_window_get_default_size(window_, &width, &height);
  UserDefaults defaults = UserDefaults::standard();
  defaults.set(widthKey, std::int64_t{width});
  defaults.set(heightKey, std::int64_t{height});
}

}  // namespace dashboard

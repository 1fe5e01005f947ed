// SPDX-License-Identifier: MIT
#include <tools/dashboard/DashboardWindow.hpp>

#include <cstdint>
#include <initializer_list>
#include <utility>
#include <variant>
#include <vector>

#include <IdlewynKit/Version.hpp>
#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <tools/dashboard/Widgets.hpp>

namespace dashboard {

using namespace idlewyn;

namespace {

constexpr unsigned int secondsToRead = 6;
constexpr int usualWidth = 460, usualHeight = 640, leastWidth = 260, leastHeight = 300;

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

GtkWidget* makeMenuButton() {
  GMenu* menu = g_menu_new();
  const auto section = [menu](std::initializer_list<std::pair<const char*, const char*>> items) {
    GMenu* part = g_menu_new();
    for (const auto& [label, action] : items)
      g_menu_append(part, label, action);
    g_menu_append_section(menu, nullptr, G_MENU_MODEL(part));
    g_object_unref(part);
  };
  section({{"_Pair an Agent…", "win.pair"}, {"_Refresh", "win.refresh"}});
  section({{"_Night", "win.night"}, {"_Demo Sessions", "win.demo"}});
  section({{"_About Idlewyn", "win.about"}});
  GtkWidget* button = gtk_menu_button_new();
  gtk_menu_button_set_icon_name(GTK_MENU_BUTTON(button), "open-menu-symbolic");
  gtk_menu_button_set_primary(GTK_MENU_BUTTON(button), TRUE);
  gtk_menu_button_set_menu_model(GTK_MENU_BUTTON(button), G_MENU_MODEL(menu));
  gtk_widget_set_tooltip_text(button, "Main Menu");
  setAccessibleName(button, "Main Menu");
  g_object_unref(menu);
  return button;
}

void bind(GtkApplication* application, const char* action, std::vector<const char*> keys) {
  keys.push_back(nullptr);
  gtk_application_set_accels_for_action(application, action, keys.data());
}

void addAction(GtkWindow* window, const char* name, std::function<void()> done) {
  GSimpleAction* action = g_simple_action_new(name, nullptr);
  g_signal_connect_data(
      action, "activate", G_CALLBACK(+[](GSimpleAction*, GVariant*, gpointer data) {
        (*static_cast<std::function<void()>*>(data))();
      }),
      new std::function<void()>(std::move(done)),
      [](gpointer data, GClosure*) { delete static_cast<std::function<void()>*>(data); },
      static_cast<GConnectFlags>(0));
  g_action_map_add_action(G_ACTION_MAP(window), G_ACTION(action));
  g_object_unref(action);
}

void setSwitch(GtkWindow* window, const char* name, bool isOn) {
  GAction* action = g_action_map_lookup_action(G_ACTION_MAP(window), name);
  g_simple_action_set_state(G_SIMPLE_ACTION(action), g_variant_new_boolean(isOn ? TRUE : FALSE));
}

void showAbout(GtkWindow* window) {
  gtk_show_about_dialog(
      window, "program-name", "Idlewyn", "version", IdlewynKitVersionString, "logo-icon-name",
      "app.vantor.idlewyn.dashboard", "license-type", GTK_LICENSE_MIT_X11, "comments",
      "Watch coding-agent sessions from afar and answer their questions.", nullptr);
}

}  // namespace

DashboardWindow::DashboardWindow(AdwApplication* application, std::shared_ptr<DashboardModel> model)
    : model_(std::move(model)),
      window_(GTK_WINDOW(adw_application_window_new(GTK_APPLICATION(application)))),
      style_(gtk_widget_get_display(GTK_WIDGET(window_))),
      sessions_(*model_),
      stage_(*model_, [this] { model_->refresh(); }),
      pairing_({.paired =
                    [this](const std::string& told, bool isFailure) {
                      tell(told, isFailure);
                      setPairing(false);
                      model_->setDemo(false);
                      model_->refresh();
                    },
                .showDemo =
                    [this] {
                      setPairing(false);
                      model_->setDemo(true);
                    }}) {
  g_object_ref(window_);
  gtk_widget_add_css_class(GTK_WIDGET(window_), "dash");
  gtk_widget_set_size_request(GTK_WIDGET(window_), leastWidth, leastHeight);
  gtk_window_set_default_size(window_, rememberedLength(widthKey, usualWidth),
                              rememberedLength(heightKey, usualHeight));
  GtkWidget* column = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  gtk_box_append(GTK_BOX(column), makeHeader());
  gtk_box_append(GTK_BOX(column), makeContent());
  adw_application_window_set_content(ADW_APPLICATION_WINDOW(window_), column);
  addActions(GTK_APPLICATION(application));
  for (const char* what : {"notify::dark", "notify::high-contrast"})
    g_signal_connect_swapped(
        adw_style_manager_get_default(), what,
        G_CALLBACK(+[](gpointer self) { static_cast<DashboardWindow*>(self)->show(); }), this);
  setNight(isNightRemembered());
  model_->changed = [this] { show(); };
  model_->told = [this](const std::string& message, bool isFailure) { tell(message, isFailure); };
  show();
}

DashboardWindow::~DashboardWindow() {
  model_->changed = nullptr;
  model_->told = nullptr;
  g_signal_handlers_disconnect_by_data(adw_style_manager_get_default(), this);
  g_object_unref(window_);
}

GtkWidget* DashboardWindow::makeHeader() {
  GtkWidget* header = adw_header_bar_new();
  title_ = ADW_WINDOW_TITLE(adw_window_title_new("", ""));
  adw_header_bar_set_title_widget(ADW_HEADER_BAR(header), GTK_WIDGET(title_));
  back_ = gtk_button_new_from_icon_name("go-previous-symbolic");
  gtk_widget_set_tooltip_text(back_, "Back");
  setAccessibleName(back_, "Back");
  connect(back_, "clicked", [this] { setPairing(false); });
  adw_header_bar_pack_start(ADW_HEADER_BAR(header), back_);
  adw_header_bar_pack_end(ADW_HEADER_BAR(header), makeMenuButton());
  return header;
}

GtkWidget* DashboardWindow::makeContent() {
  overlay_ = ADW_TOAST_OVERLAY(adw_toast_overlay_new());
  gtk_widget_set_vexpand(GTK_WIDGET(overlay_), TRUE);
  return GTK_WIDGET(overlay_);
}

void DashboardWindow::addActions(GtkApplication* application) {
  addAction(window_, "pair", [this] {
    pairing_.begin();
    setPairing(true);
  });
  addAction(window_, "refresh", [this] { model_->refresh(); });
  addAction(window_, "about", [this] { showAbout(window_); });
  addSwitch("night", isNightRemembered(),
            [](DashboardWindow& self, bool isOn) { self.setNight(isOn); });
  addSwitch("demo", model_->isDemo(), [](DashboardWindow& self, bool isOn) {
    self.setPairing(false);
    self.model_->setDemo(isOn);
  });
  bind(application, "win.refresh", {"F5", "<Control>r"});
  bind(application, "win.night", {"<Alt>n"});
  bind(application, "window.close", {"<Control>w", "<Control>q"});  // it is the only window
  g_signal_connect_swapped(window_, "close-request", G_CALLBACK(+[](gpointer self) -> gboolean {
                             static_cast<DashboardWindow*>(self)->remember();
                             return FALSE;
                           }),
                           this);
}

void DashboardWindow::addSwitch(const char* name, bool isOn,
                                void (*changed)(DashboardWindow&, bool)) {
  GSimpleAction* action =
      g_simple_action_new_stateful(name, nullptr, g_variant_new_boolean(isOn ? TRUE : FALSE));
  using Changed = void (*)(DashboardWindow&, bool);
  struct Binding {
    DashboardWindow& window;
    Changed changed;
  };
  g_signal_connect_data(
      action, "change-state", G_CALLBACK(+[](GSimpleAction* self, GVariant* value, gpointer data) {
        const auto* binding = static_cast<Binding*>(data);
        g_simple_action_set_state(self, value);
        binding->changed(binding->window, g_variant_get_boolean(value) != FALSE);
      }),
      new Binding{*this, changed},
      [](gpointer data, GClosure*) { delete static_cast<Binding*>(data); },
      static_cast<GConnectFlags>(0));
  g_action_map_add_action(G_ACTION_MAP(window_), G_ACTION(action));
  g_object_unref(action);
}

void DashboardWindow::show() {
  const Stage stage = model_->stage();
  const bool isUnpaired = stage == Stage::unpaired;
  const char* title = model_->isDemo() ? "Demo Sessions" : "Sessions";
  gtk_window_set_title(window_, title);
  adw_window_title_set_title(title_, title);
  gtk_widget_set_visible(back_, isPairing_ && !isUnpaired ? TRUE : FALSE);
  setSwitch(window_, "demo", model_->isDemo());
  sessions_.show(style_.look());
  stage_.show();
  showPage(isPairing_ || isUnpaired   ? pairing_.widget()
           : stage == Stage::sessions ? sessions_.widget()
                                      : stage_.widget());
  if (!wanted_.empty() && sessions_.goTo(wanted_)) wanted_.clear();
}

// One page is there at a time: screen readers would find the others of a GtkStack.
void DashboardWindow::showPage(GtkWidget* page) {
  const bool isOther = adw_toast_overlay_get_child(overlay_) != page;
  if (isOther) adw_toast_overlay_set_child(overlay_, page);
  if (isOther && page == pairing_.widget()) pairing_.focus();
  // No question is answered by a stray key.
  const bool isFree = isOther || gtk_window_get_focus(window_) == nullptr;
  if (isFree && page == sessions_.widget()) sessions_.focus();
}

// A toast reads markup; a label of its own does not, and wraps. What lies below it comes to light
// when it goes: then no question takes a click that was meant for it.
void DashboardWindow::tell(const std::string& message, bool isFailure) {
  AdwToast* toast = adw_toast_new("");
  GtkWidget* text = makeText(displayLine(message), GTK_ACCESSIBLE_ROLE_ALERT);
  gtk_label_set_width_chars(GTK_LABEL(text), 12);
  gtk_label_set_max_width_chars(GTK_LABEL(text), 40);
  adw_toast_set_custom_title(toast, text);
  adw_toast_set_timeout(toast, isFailure ? 0 : secondsToRead);
  adw_toast_set_priority(toast, ADW_TOAST_PRIORITY_HIGH);
  connect(toast, "dismissed", [this] { sessions_.guard(); });
  adw_toast_overlay_add_toast(overlay_, toast);
}

void DashboardWindow::setPairing(bool isPairing) {
  isPairing_ = isPairing;
  show();
}

void DashboardWindow::offerPairing(const std::string& link) {
  pairing_.offer(link);
  setPairing(true);
}

void DashboardWindow::goToPrompt(const std::string& promptID) {
  wanted_ = promptID;
  setPairing(false);
}

void DashboardWindow::setNight(bool isNight) {
  UserDefaults::standard().set(nightKey, isNight);
  style_.setNight(isNight);
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

// SPDX-License-Identifier: MIT
#include <IdlewynKit/gtk/internal/DesktopSettings.hpp>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace idlewyn::gtk {
namespace {

constexpr const char* portalName = "org.freedesktop.portal.Desktop";
constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
constexpr const char* portalInterface = "org.freedesktop.portal.Settings";
constexpr std::string_view schemeNamespace = "org.freedesktop.appearance";
constexpr std::string_view schemeKey = "color-scheme";

bool booleanProperty(GtkSettings* settings, const char* name) {
  gboolean value = FALSE;
  g_object_get(settings, name, &value, nullptr);
  return value != FALSE;
}

// Where there is none, GIO would start a bus that nobody asked for.
bool isBusThere() {
  if (const char* named = g_getenv("DBUS_SESSION_BUS_ADDRESS"))
    return std::string_view(named).find("autolaunch:") == std::string_view::npos;
  struct stat status {};
  const std::string socket = std::string(g_get_user_runtime_dir()) + "/bus";
  return stat(socket.c_str(), &status) == 0 && S_ISSOCK(status.st_mode) &&
         status.st_uid == geteuid();
}

}  // namespace

DesktopSettings& DesktopSettings::shared() {
  static auto* const settings = new DesktopSettings();
  return *settings;
}

DesktopSettings::DesktopSettings() : settings_(gtk_settings_get_default()) {
  for (const char* name : {"gtk-application-prefer-dark-theme", "gtk-theme-name", "gtk-xft-dpi",
                           "gtk-enable-animations"}) {
    const std::string signal = std::string("notify::") + name;
    g_signal_connect_swapped(settings_, signal.c_str(),
                             G_CALLBACK(+[](DesktopSettings* self) { self->notify(); }), this);
  }
  askPortal();
}

// The portal knows the desktop's wish whatever the theme; without a bus nothing comes of it.
void DesktopSettings::askPortal() {
  constexpr auto flags = static_cast<GDBusProxyFlags>(G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES);
  if (!isBusThere()) return;
  g_dbus_proxy_new_for_bus(G_BUS_TYPE_SESSION, flags, nullptr, portalName, portalPath,
                           portalInterface, nullptr, &DesktopSettings::portalReady, this);
}

void DesktopSettings::portalReady(GObject*, GAsyncResult* result, gpointer self) {
  auto* settings = static_cast<DesktopSettings*>(self);
  settings->portal_ = g_dbus_proxy_new_for_bus_finish(result, nullptr);
  if (settings->portal_ == nullptr) return;
  g_signal_connect(settings->portal_, "g-signal", G_CALLBACK(&DesktopSettings::portalSignalled),
                   settings);
  g_dbus_proxy_call(
      settings->portal_, "Read", g_variant_new("(ss)", schemeNamespace.data(), schemeKey.data()),
      G_DBUS_CALL_FLAGS_NONE, 5'000, nullptr, &DesktopSettings::portalAnswered, settings);
}

void DesktopSettings::portalAnswered(GObject* source, GAsyncResult* result, gpointer self) {
  GVariant* answer = g_dbus_proxy_call_finish(G_DBUS_PROXY(source), result, nullptr);
  if (answer == nullptr) return;
  if (g_variant_is_of_type(answer, G_VARIANT_TYPE("(v)")) != FALSE) {
    GVariant* value = g_variant_get_child_value(answer, 0);
    static_cast<DesktopSettings*>(self)->setColorScheme(value);
    g_variant_unref(value);
  }
  g_variant_unref(answer);
}

void DesktopSettings::portalSignalled(GDBusProxy*, const char*, const char* signal,
                                      GVariant* parameters, gpointer self) {
  if (std::string_view(signal) != "SettingChanged" ||
      g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ssv)")) == FALSE) {
    return;
  }
  const char* space = nullptr;
  const char* key = nullptr;
  GVariant* value = nullptr;
  g_variant_get(parameters, "(&s&sv)", &space, &key, &value);
  if (space == schemeNamespace && key == schemeKey) {
    static_cast<DesktopSettings*>(self)->setColorScheme(value);
  }
  g_variant_unref(value);
}

// Portals wrap the value once or twice.
void DesktopSettings::setColorScheme(GVariant* value) {
  g_variant_ref(value);
  while (g_variant_is_of_type(value, G_VARIANT_TYPE_VARIANT) != FALSE) {
    GVariant* inner = g_variant_get_variant(value);
    g_variant_unref(value);
    value = inner;
  }
  if (g_variant_is_of_type(value, G_VARIANT_TYPE_UINT32) != FALSE) {
    const std::uint32_t scheme = g_variant_get_uint32(value);
    colorScheme_ = scheme == 1   ? ColorScheme::dark
                   : scheme == 2 ? ColorScheme::light
                                 : ColorScheme::noPreference;
    notify();
  }
  g_variant_unref(value);
}

platform::Appearance DesktopSettings::appearance() const {
  using platform::Appearance;
  if (colorScheme_ == ColorScheme::dark) return Appearance::dark;
  if (colorScheme_ == ColorScheme::light) return Appearance::light;
  char* theme = nullptr;
  g_object_get(settings_, "gtk-theme-name", &theme, nullptr);
  const std::unique_ptr<char, decltype(&g_free)> owner(theme, &g_free);
  const std::string_view name = theme == nullptr ? "" : theme;
  const bool isDark = booleanProperty(settings_, "gtk-application-prefer-dark-theme") ||
                      name.ends_with("-dark") || name.ends_with(":dark");
  return isDark ? Appearance::dark : Appearance::light;
}

double DesktopSettings::textScale() const {
  int dpi = -1;  // 1024ths; -1 stands for the usual 96
  g_object_get(settings_, "gtk-xft-dpi", &dpi, nullptr);
  return dpi <= 0 ? 1.0 : dpi / (96.0 * 1024.0);
}

bool DesktopSettings::animationsEnabled() const {
  return booleanProperty(settings_, "gtk-enable-animations");
}

std::shared_ptr<void> DesktopSettings::observe(std::function<void()> changed) {
  const auto observer = std::make_shared<std::function<void()>>(std::move(changed));
  observers_.push_back(observer);
  return {observer.get(), [this, observer](void*) { std::erase(observers_, observer); }};
}

// Observers may come and go meanwhile.
void DesktopSettings::notify() {
  const std::vector<Observer> told = observers_;
  for (const Observer& observer : told)
    if (std::ranges::find(observers_, observer) != observers_.end()) (*observer)();
}

}  // namespace idlewyn::gtk

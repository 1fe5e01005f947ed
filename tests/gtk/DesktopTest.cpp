// SPDX-License-Identifier: MIT
// What follows the desktop's settings portal, played by this program on a bus of its own, and
// what a program sets for a widget itself.
#include <chrono>
#include <filesystem>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

#include <IdlewynKit/UI.hpp>
#include <IdlewynKit/gtk/DesktopAppearance.hpp>
#include <IdlewynKit/gtk/ViewWidget.hpp>

namespace idlewyn::gtk {
namespace {

using namespace std::chrono_literals;
using platform::Appearance;

constexpr const char* path = "/org/freedesktop/portal/desktop";
constexpr const char* interface = "org.freedesktop.portal.Settings";
constexpr const char* description =
    "<node><interface name='org.freedesktop.portal.Settings'><method name='Read'>"
    "<arg type='s' direction='in'/><arg type='s' direction='in'/><arg type='v' direction='out'/>"
    "</method></interface></node>";

template <class Condition>
bool comesTrue(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + 10s;
  const guint tick = g_timeout_add(
      10, +[](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
  while (!condition() && std::chrono::steady_clock::now() < end)
    g_main_context_iteration(nullptr, TRUE);
  g_source_remove(tick);
  return condition();
}

/// Answers that dark is wished, wrapped twice as portals do.
class Portal {
 public:
  Portal() {
    static constexpr GDBusInterfaceVTable table{&Portal::read, nullptr, nullptr, {}};
    GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(description, nullptr);
    g_dbus_connection_register_object(bus_, path, node->interfaces[0], &table, nullptr, nullptr,
                                      nullptr);
    g_dbus_node_info_unref(node);
    name_ = g_bus_own_name_on_connection(
        bus_, "org.freedesktop.portal.Desktop", G_BUS_NAME_OWNER_FLAGS_NONE,
        +[](GDBusConnection*, const char*, gpointer owns) { *static_cast<bool*>(owns) = true; },
        nullptr, &owns_, nullptr);
    EXPECT_TRUE(comesTrue([&] { return owns_; }));
  }
  ~Portal() {
    g_bus_unown_name(name_);
    g_object_unref(bus_);
  }

  /// `arguments` is in the text form of GVariant.
  void signal(const char* name, const char* arguments) const {
    g_dbus_connection_emit_signal(bus_, nullptr, path, interface, name,
                                  g_variant_new_parsed(arguments), nullptr);
  }

 private:
  static void read(GDBusConnection*, const char*, const char*, const char*, const char*,
                   GVariant* arguments, GDBusMethodInvocation* call, gpointer) {
    char* asked = g_variant_print(arguments, FALSE);
    EXPECT_STREQ(asked, "('org.freedesktop.appearance', 'color-scheme')");
    g_free(asked);
    g_dbus_method_invocation_return_value(call, g_variant_new_parsed("(<<uint32 1>>,)"));
  }

  GDBusConnection* bus_ = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  guint name_ = 0;
  bool owns_ = false;
};

TEST(DesktopAppearance, IsWhatThePortalSaysWhateverTheTheme) {
  const Portal portal;
  int changes = 0;
  const auto observation = observeDesktop([&] { ++changes; });
  EXPECT_EQ(desktopAppearance(), Appearance::light) << "the theme's, until the portal answers";
  ASSERT_TRUE(comesTrue([&] { return changes == 1; }));
  EXPECT_EQ(desktopAppearance(), Appearance::dark) << "the first answer";

  // Of these none is the colour scheme.
  portal.signal("Other", "('org.freedesktop.appearance', 'color-scheme', <uint32 2>)");
  portal.signal("SettingChanged", "('org.freedesktop.appearance', 'color-scheme')");
  portal.signal("SettingChanged", "('org.freedesktop.appearance', 'contrast', <uint32 2>)");
  portal.signal("SettingChanged", "('org.example', 'color-scheme', <uint32 2>)");
  portal.signal("SettingChanged", "('org.freedesktop.appearance', 'color-scheme', <'light'>)");
  const std::pair<const char*, Appearance> rows[] = {
      {"('org.freedesktop.appearance', 'color-scheme', <uint32 2>)", Appearance::light},
      {"('org.freedesktop.appearance', 'color-scheme', <<uint32 1>>)", Appearance::dark},
      {"('org.freedesktop.appearance', 'color-scheme', <uint32 0>)", Appearance::light}};
  for (int expected = 2; const auto& [arguments, appearance] : rows) {
    portal.signal("SettingChanged", arguments);
    ASSERT_TRUE(comesTrue([&] { return changes == expected; })) << arguments;
    EXPECT_EQ(desktopAppearance(), appearance) << arguments;
    ++expected;
  }
}

TEST(ViewWidget, TakesAnEnvironmentAndTellsScreenReadersOfValues) {
  ViewWidget view(platform::Row({platform::Text("text"), platform::ProgressBar(1, 4)})), same;
  same = view;
  EXPECT_EQ(same.widget(), view.widget());
  const auto width = [&] {
    int natural = 0;
    gtk_widget_measure(view.widget(), GTK_ORIENTATION_HORIZONTAL, -1, nullptr, &natural, nullptr,
                       nullptr);
    return natural;
  };
  const int before = width();
  platform::Environment large;
  large.font = platform::Font::system(60);
  same.setEnvironment(large);
  EXPECT_GT(width(), before + 20);

  GtkWindow* window = GTK_WINDOW(gtk_window_new());
  gtk_window_set_child(window, view.widget());
  gtk_window_present(window);
  const auto tells = [&](double value) {
    GtkWidget* bar = gtk_widget_get_last_child(view.widget());
    if (bar == nullptr) return false;
    char* difference = gtk_test_accessible_check_property(GTK_ACCESSIBLE(bar),
                                                          GTK_ACCESSIBLE_PROPERTY_VALUE_NOW, value);
    const bool isThere = difference == nullptr;
    g_free(difference);
    return isThere;
  };
  EXPECT_TRUE(comesTrue([&] { return tells(0.25); }));
  view.setView(platform::Row({platform::Text("text"), platform::ProgressBar(3, 4)}));
  EXPECT_TRUE(comesTrue([&] { return tells(0.75); }));
  gtk_window_destroy(window);
}

}  // namespace
}  // namespace idlewyn::gtk

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  // The bus as a login manager leaves it: in its place, without a word about it.
  const std::string_view address = g_getenv("DBUS_SESSION_BUS_ADDRESS");  // unix:path=PATH,guid=...
  const std::string_view place = address.substr(0, address.find(',')).substr(10);
  std::filesystem::create_symlink(place, std::filesystem::path(g_get_user_runtime_dir()) / "bus");
  g_unsetenv("DBUS_SESSION_BUS_ADDRESS");
  gtk_init();
  return RUN_ALL_TESTS();
}

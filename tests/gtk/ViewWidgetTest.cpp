// SPDX-License-Identifier: MIT
#include <IdlewynKit/gtk/ViewWidget.hpp>

#include <chrono>
#include <stdexcept>

#include <gtest/gtest.h>

#include <IdlewynKit/UI.hpp>
#include <IdlewynKit/gtk/DesktopAppearance.hpp>

namespace idlewyn::gtk {
namespace {

using namespace std::chrono_literals;
using platform::DateClock;
using platform::Row;
using platform::Spacer;
using platform::Text;

// A window whose drawn frames are counted.
class Window {
 public:
  explicit Window(const ViewWidget& view) : window_(GTK_WINDOW(gtk_window_new())) {
    gtk_window_set_child(window_, view.widget());
    gtk_window_present(window_);
    GdkFrameClock* clock = gtk_widget_get_frame_clock(GTK_WIDGET(window_));
    g_signal_connect_swapped(clock, "paint", G_CALLBACK(+[](int* count) { ++*count; }), &frames_);
  }
  ~Window() { gtk_window_destroy(window_); }

  int framesWithin(std::chrono::milliseconds time) {
    frames_ = 0;
    const auto end = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < end) {
      g_timeout_add(
          10, +[](gpointer) -> gboolean { return G_SOURCE_REMOVE; }, nullptr);
      g_main_context_iteration(nullptr, TRUE);
    }
    return frames_;
  }

 private:
  GtkWindow* window_;
  int frames_ = 0;
};

// GTK is written in C, which exceptions must not unwind.
struct Throwing {
  View body() const { throw std::runtime_error("a body's"); }
};

TEST(ViewWidget, DrawsOnlyWhenThePictureChanges) {
  const auto indicator = [](SessionStatus status) {
    return StatusIndicator(status, StatusIconSize::large);
  };
  ViewWidget view(indicator(SessionStatus::working));
  Window window(view);
  window.framesWithin(1'000ms);  // until it has settled
  EXPECT_EQ(window.framesWithin(1'500ms), 0) << "an idle window";
  view.setView(indicator(SessionStatus::waitingForInput));
  EXPECT_GE(window.framesWithin(700ms), 5) << "a changed status pulses";
  window.framesWithin(1'500ms);
  EXPECT_EQ(window.framesWithin(700ms), 0) << "once";

  ViewWidget(view).setView(Text("Other"));
  EXPECT_GE(window.framesWithin(500ms), 1) << "a change";
  EXPECT_EQ(window.framesWithin(1'000ms), 0) << "after the change";

  view.setView(Text::timer(DateClock::now()));
  window.framesWithin(300ms);
  const int ticks = window.framesWithin(3'000ms);
  EXPECT_GE(ticks, 2) << "a clock";
  EXPECT_LE(ticks, 8) << "a clock that shows seconds";

  gtk_widget_set_visible(view.widget(), FALSE);
  window.framesWithin(500ms);
  EXPECT_EQ(window.framesWithin(2'500ms), 0) << "a clock that is not shown";
  gtk_widget_set_visible(view.widget(), TRUE);
  EXPECT_GE(window.framesWithin(2'500ms), 1) << "and is again";
}

TEST(ViewWidget, AsksForTheSizeOfItsView) {
  ViewWidget view(View(Text("fixed")).frame(120, 34));
  int least = 0, width = 0, height = 0, higher = 0;
  const auto measure = [&](GtkOrientation orientation, int other, int* natural) {
    gtk_widget_measure(view.widget(), orientation, other, &least, natural, nullptr, nullptr);
  };
  measure(GTK_ORIENTATION_VERTICAL, 120, &height);
  measure(GTK_ORIENTATION_HORIZONTAL, -1, &width);
  EXPECT_EQ(width, 120);
  EXPECT_EQ(height, 34);

  view.setView(Row({Text("words that wrap when there is little room for them")}));
  measure(GTK_ORIENTATION_HORIZONTAL, -1, &width);
  EXPECT_LT(least, width);
  measure(GTK_ORIENTATION_VERTICAL, width, &height);
  measure(GTK_ORIENTATION_VERTICAL, width / 3, &higher);
  EXPECT_GT(higher, height) << "narrower is higher";
}

TEST(ViewWidget, GivesScreenReadersItsElementsAndFollowsTheirRoles) {
  using Roles = std::vector<GtkAccessibleRole>;
  const std::pair<View, Roles> shown[] = {
      {TaskProgressView(2, 4, Palette::Status::working), {GTK_ACCESSIBLE_ROLE_GROUP}},
      {Row({StatusIndicator(SessionStatus::failed, 14), Text("project"), Spacer(),
            platform::ProgressBar(1, 2)}),
       {GTK_ACCESSIBLE_ROLE_IMG, GTK_ACCESSIBLE_ROLE_LABEL, GTK_ACCESSIBLE_ROLE_PROGRESS_BAR}},
      {Row({Text("as many"), StatusIndicator(SessionStatus::failed, 14), Text("others")}),
       {GTK_ACCESSIBLE_ROLE_LABEL, GTK_ACCESSIBLE_ROLE_IMG, GTK_ACCESSIBLE_ROLE_LABEL}},
      {Throwing(), {}},
      {Text("back"), {GTK_ACCESSIBLE_ROLE_LABEL}},
      {View(), {}},
  };
  ViewWidget view{View()};
  Window window(view);
  for (const auto& [content, expected] : shown) {
    view.setView(content);
    window.framesWithin(300ms);
    Roles roles;
    for (GtkWidget* child = gtk_widget_get_first_child(view.widget()); child != nullptr;
         child = gtk_widget_get_next_sibling(child))
      roles.push_back(gtk_accessible_get_accessible_role(GTK_ACCESSIBLE(child)));
    EXPECT_EQ(roles, expected);
  }
}

TEST(DesktopAppearance, IsFollowedLive) {
  GtkSettings* settings = gtk_settings_get_default();
  g_object_set(settings, "gtk-application-prefer-dark-theme", FALSE, nullptr);
  int changes = 0;
  std::shared_ptr<void> next;
  std::shared_ptr<void> own = observeDesktop([&] {
    ++changes;
    own.reset();
    next.reset();
  });
  next = observeDesktop([&] { changes += 100; });
  const auto last = observeDesktop([&] { ++changes; });
  EXPECT_EQ(desktopAppearance(), platform::Appearance::light);
  g_object_set(settings, "gtk-application-prefer-dark-theme", TRUE, nullptr);
  EXPECT_EQ(desktopAppearance(), platform::Appearance::dark);
  EXPECT_EQ(changes, 2) << "but for the one that was ended meanwhile";
  g_object_set(settings, "gtk-application-prefer-dark-theme", FALSE, nullptr);
  EXPECT_EQ(changes, 3);
}

}  // namespace
}  // namespace idlewyn::gtk

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  gtk_init();
  return RUN_ALL_TESTS();
}

// SPDX-License-Identifier: MIT
#include <IdlewynKit/gtk/ViewWidget.hpp>

#include <chrono>
#include <functional>
#include <string>

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

// How wide or high it wants to be, and how little it can do with.
struct Measure {
  Measure(const ViewWidget& view, GtkOrientation orientation, int other = -1) {
    gtk_widget_measure(view.widget(), orientation, other, &least, &natural, nullptr, nullptr);
  }
  int least = 0;
  int natural = 0;
};

std::vector<GtkAccessibleRole> rolesOf(const ViewWidget& view) {
  std::vector<GtkAccessibleRole> roles;
  for (GtkWidget* child = gtk_widget_get_first_child(view.widget()); child != nullptr;
       child = gtk_widget_get_next_sibling(child))
    roles.push_back(gtk_accessible_get_accessible_role(GTK_ACCESSIBLE(child)));
  return roles;
}

TEST(ViewWidget, DrawsOnlyWhenThePictureChanges) {
  const ViewWidget view(Text("Still"));
  Window window(view);
  window.framesWithin(1'000ms);  // until it has settled
  EXPECT_EQ(window.framesWithin(1'500ms), 0) << "an idle window";

  ViewWidget(view).setView(Text("Other"));
  EXPECT_GE(window.framesWithin(500ms), 1) << "a change";
  EXPECT_EQ(window.framesWithin(1'000ms), 0) << "after the change";

  ViewWidget(view).setView(Text::timer(DateClock::now()));
  window.framesWithin(300ms);
  const int ticks = window.framesWithin(3'000ms);
  EXPECT_GE(ticks, 2) << "a clock";
  EXPECT_LE(ticks, 8) << "a clock that shows seconds";
}

TEST(ViewWidget, MovesWhileAStatusPulsesAndRestsAfterwards) {
  ViewWidget view(StatusIndicator(SessionStatus::working, StatusIconSize::large));
  Window window(view);
  window.framesWithin(1'000ms);
  EXPECT_EQ(window.framesWithin(500ms), 0) << "the first frame does not pulse";
  view.setView(StatusIndicator(SessionStatus::waitingForInput, StatusIconSize::large));
  EXPECT_GE(window.framesWithin(700ms), 5) << "a changed status does";
  window.framesWithin(1'500ms);
  EXPECT_EQ(window.framesWithin(700ms), 0) << "once";
}

TEST(ViewWidget, StopsItsClockWhileItIsNotShown) {
  const ViewWidget view(Text::timer(DateClock::now()));
  Window window(view);
  window.framesWithin(500ms);
  gtk_widget_set_visible(view.widget(), FALSE);
  window.framesWithin(500ms);
  EXPECT_EQ(window.framesWithin(2'500ms), 0);
  gtk_widget_set_visible(view.widget(), TRUE);
  EXPECT_GE(window.framesWithin(2'500ms), 1);
}

TEST(ViewWidget, AsksForTheSizeOfItsView) {
  const ViewWidget view(View(Text("fixed")).frame(120, 34));
  EXPECT_EQ(Measure(view, GTK_ORIENTATION_HORIZONTAL).natural, 120);
  EXPECT_EQ(Measure(view, GTK_ORIENTATION_VERTICAL, 120).natural, 34);

  ViewWidget(view).setView(Row({Text("words that wrap when there is little room for them")}));
  const Measure width(view, GTK_ORIENTATION_HORIZONTAL);
  EXPECT_LT(width.least, width.natural);
  EXPECT_GT(Measure(view, GTK_ORIENTATION_VERTICAL, width.natural / 3).natural,
            Measure(view, GTK_ORIENTATION_VERTICAL, width.natural).natural)
      << "narrower is higher";
}

TEST(ViewWidget, GivesScreenReadersItsElementsAndFollowsTheirRoles) {
  ViewWidget view(TaskProgressView(2, 4, Palette::Status::working));
  Window window(view);
  window.framesWithin(300ms);
  EXPECT_EQ(rolesOf(view).size(), 1U);
  view.setView(Row({StatusIndicator(SessionStatus::failed, 14), Text("project"), Spacer(),
                    platform::ProgressBar(1, 2)}));
  window.framesWithin(300ms);
  EXPECT_EQ(rolesOf(view), (std::vector{GTK_ACCESSIBLE_ROLE_IMG, GTK_ACCESSIBLE_ROLE_LABEL,
                                        GTK_ACCESSIBLE_ROLE_PROGRESS_BAR}));
  view.setView(View());
  window.framesWithin(300ms);
  EXPECT_TRUE(rolesOf(view).empty());
}

TEST(ViewWidget, FollowsTheDesktopLive) {
  GtkSettings* settings = gtk_settings_get_default();
  g_object_set(settings, "gtk-application-prefer-dark-theme", FALSE, nullptr);
  int changes = 0;
  const auto observation = observeDesktop([&] { ++changes; });
  EXPECT_EQ(desktopAppearance(), platform::Appearance::light);
  g_object_set(settings, "gtk-application-prefer-dark-theme", TRUE, nullptr);
  EXPECT_EQ(desktopAppearance(), platform::Appearance::dark);
  EXPECT_EQ(changes, 1);

  const ViewWidget view(View(Text("scaled")).font(Typography::body));
  const int before = Measure(view, GTK_ORIENTATION_HORIZONTAL).natural;
  g_object_set(settings, "gtk-xft-dpi", 2 * 96 * 1024, nullptr);
  const int after = Measure(view, GTK_ORIENTATION_HORIZONTAL).natural;
  EXPECT_NEAR(after, 2 * before, 2);
}

}  // namespace
}  // namespace idlewyn::gtk

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  gtk_init();
  return RUN_ALL_TESTS();
}

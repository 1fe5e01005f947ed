// SPDX-License-Identifier: MIT
#include <chrono>
#include <functional>
#include <limits>
#include <string>
#include <thread>

#include <pthread.h>

#include "ViewSupport.hpp"

namespace idlewyn::platform {
namespace {

/// Contains itself.
struct Endless {
  View body() const { return Column({block(1, 1), Endless()}).padding(1); }
};

struct Wrap {
  View content;
  View body() const { return content; }
};

/// Runs on a thread with the stack of a small worker's.
void onSmallStack(const std::function<void()>& work) {
#if defined(__SANITIZE_ADDRESS__)
  constexpr std::size_t stack = 4U << 20;
#else
  constexpr std::size_t stack = 1U << 20;
#endif
  pthread_attr_t before, small;
  pthread_getattr_default_np(&before);
  pthread_attr_init(&small);
  pthread_attr_setstacksize(&small, stack);
  pthread_setattr_default_np(&small);
  std::thread(work).join();
  pthread_setattr_default_np(&before);
}

TEST(View, SurvivesTreesOfAnyDepth) {
  const std::pair<const char*, std::function<View(View)>> wrappers[] = {
      {"padding", [](const View& view) { return view.padding(0.1); }},
      {"font", [](const View& view) { return view.font(Font::system(9)); }},
      {"opacity", [](const View& view) { return view.opacity(0.999); }},
      {"grayscale", [](const View& view) { return view.grayscale(0.5); }},
      {"animation", [](const View& view) { return view.animation(Animation::easeInOut(1), 1); }},
      {"label", [](const View& view) { return view.accessibilityLabel("x"); }},
      {"row",
       [](const View& view) {
         return Row(std::vector{view, block(1, 1)});
       }},
      {"name", [](const View& view) { return view.id("x"); }},
      {"component", [](const View& view) { return Wrap{view}; }},
  };
  onSmallStack([&] {
    for (const auto& [name, wrap] : wrappers) {
      for (const int depth : {500, 10'000, 200'000}) {
        SCOPED_TRACE(std::string(name) + " " + std::to_string(depth));
        View view = block(3, 3);
        for (int level = 0; level < depth; ++level)
          view = wrap(view);
        const Frame frame = still(view, english(), {.width = 100});
        EXPECT_TRUE(isHarmless(frame));
        if (depth > 500) continue;
        EXPECT_FALSE(operations<RectangleOperation>(frame).empty()) << "within the limit";
        EXPECT_FALSE(paintImage(frame, 1).pixels.empty()) << "layers that a painter takes";
      }
    }
    const Frame endless = still(Endless());
    EXPECT_TRUE(isHarmless(endless));
    EXPECT_GT(operations<RectangleOperation>(endless).size(), 100U);
  });
}

TEST(View, BoundsWhatOneFrameCosts) {
  View doubled = block(1, 1);
  for (int level = 0; level < 40; ++level)
    doubled = Row({doubled, doubled});
  EXPECT_TRUE(isHarmless(still(doubled)));

  std::string text;
  for (int word = 0; word < 500'000; ++word)
    text += "\xFF words \u20AC words ";
  const auto start = std::chrono::steady_clock::now();
  const Frame frame = still(Column({Text(text).lineLimit(1), block(1, 1).accessibilityLabel(text)}),
                            english(), {.width = 200});
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  ASSERT_EQ(frame.elements.size(), 2U);
  for (const AccessibleElement& element : frame.elements) {
    EXPECT_GT(element.label.size(), 16'000U);
    EXPECT_LT(element.label.size(), 64'000U);
    EXPECT_TRUE(element.label.starts_with("\uFFFD words \u20AC words "));
  }
}

TEST(View, ClampsEveryNumber) {
  const double numbers[] = {
      0,      -1,       -0.0,      1e-320,       1e300,
      -1e300, HUGE_VAL, -HUGE_VAL, std::nan(""), std::numeric_limits<double>::max()};
  for (const double number : numbers) {
    SCOPED_TRACE(number);
    const Color color(number, number, number, number);
    const View text = Text("text 12").font(Font::system(number));
    const View everything =
        Row({text, Label("label", "terminal").font(Font::system(number)), Spacer(number),
             ProgressBar(number, number), Text::timer(dateFromReferenceSeconds(number)),
             Text::relative(dateFromReferenceSeconds(number)),
             block(5, 5).padding(number).frame(number, number),
             Column({text.lineLimit(-3)}, HorizontalAlignment::centre, number)},
            VerticalAlignment::centre, number)
            .foreground(LinearGradient(color, color, {number, number}, {number, number}))
            .opacity(number)
            .grayscale(number)
            .contrast(number)
            .colorMultiply(color)
            .animation(Animation::easeInOut(number), number)
            .environment(&Environment::textScale, number);
    for (const Proposal& proposal : {Proposal(), Proposal{number, number}, Proposal{.width = 50}}) {
      Host host;
      for (const double seconds : {0.0, number, 1.0}) {
        const Date date = dateFromReferenceSeconds(seconds);
        const Frame frame = host.frame(everything, Environment(), proposal, date);
        EXPECT_TRUE(isHarmless(frame));
        EXPECT_TRUE(!frame.nextChange || *frame.nextChange > date);
      }
    }
  }
}

TEST(View, UsesMoreFontsThanAreRemembered) {
  const View first = Text("first").font(Font::system(10));
  const Size size = still(first).size;
  for (int i = 0; i < 300; ++i) {
    const Frame frame = still(Text("12").monospacedDigits().font(Font::system(10 + i * 0.25)));
    EXPECT_GT(frame.size.width, 10 + i * 0.25 - 1) << "two digits of about half an em";
  }
  EXPECT_EQ(still(first).size, size);
}

TEST(View, IsDrawnAlikeOnEveryThread) {
  const View shared = Column({Label("Ada", "sparkle"), Text("one"), ProgressBar(1, 2).pulse(3)})
                          .grayscale(1)
                          .contrast(1.3);
  const Frame expected = still(shared);
  const Image picture = paintImage(expected, 2);
  std::vector<std::jthread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, own = shared] {
      for (int round = 0; round < 50; ++round) {
        EXPECT_EQ(paintImage(still(own), 2), picture);
        EXPECT_EQ(paintImage(expected, 2), picture);
        const View both = Row({own, own.padding(round), Text(std::to_string(round))});
        EXPECT_GT(still(both).size.width, expected.size.width);
      }
    });
  }
}

}  // namespace
}  // namespace idlewyn::platform

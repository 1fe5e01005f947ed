// SPDX-License-Identifier: MIT
#include <chrono>
#include <iomanip>
#include <sstream>

#include "ViewSupport.hpp"

namespace idlewyn::platform {
namespace {

struct Case {
  const char* reason;
  View view;
  Proposal proposal;
  std::string expected;  ///< "WIDTHxHEIGHT: LEFT,TOP WIDTHxHEIGHT; ..." of the frame's blocks
};

void check(const std::vector<Case>& cases) {
  for (const Case& row : cases) {
    const Frame frame = still(row.view, row.proposal);
    std::ostringstream found;
    found << std::setprecision(17) << frame.size.width << 'x' << frame.size.height;
    for (const char* between = ": "; const Rect& rect : blocks(frame)) {
      found << between << rect.left() << ',' << rect.top() << ' ' << rect.size.width << 'x'
            << rect.size.height;
      between = "; ";
    }
    EXPECT_EQ(found.str(), row.expected) << row.reason;
  }
}

View top(std::vector<View> children, double spacing = 0) {
  return Row(std::move(children), VerticalAlignment::top, spacing);
}

TEST(View, PutsChildrenWhereRowsAndColumnsSay) {
  const std::vector<View> two{block(10, 4), block(20, 8)};
  using Across = VerticalAlignment;
  using Along = HorizontalAlignment;
  check({
      {"top", Row(two, Across::top, 5), {}, "35x8: 0,0 10x4; 15,0 20x8"},
      {"centre", Row(two, Across::centre, 5), {}, "35x8: 0,2 10x4; 15,0 20x8"},
      {"bottom", Row(two, Across::bottom, 5), {}, "35x8: 0,4 10x4; 15,0 20x8"},
      {"leading", Column(two, Along::leading, 5), {}, "20x17: 0,0 10x4; 0,9 20x8"},
      {"centred", Column(two, Along::centre, 5), {}, "20x17: 5,0 10x4; 0,9 20x8"},
      {"trailing", Column(two, Along::trailing, 5), {}, "20x17: 10,0 10x4; 0,9 20x8"},
      {"nothing takes no room",
       top({View(), block(10, 4), View().padding(9), block(20, 8)}, 5),
       {},
       "35x8: 0,0 10x4; 15,0 20x8"},
      {"only nothing is nothing", Column({View(), Row({})}).padding(5), {}, "0x0"},
      {"an offer too small", Row(two, Across::top, 5), {.width = 12}, "35x8: 0,0 10x4; 15,0 20x8"},
  });
}

TEST(View, SharesWhatIsLeftAmongThoseThatStretch) {
  const View small = block(10, 4);
  check({
      {"one spacer",
       top({small, Spacer(), small}, 5),
       {.width = 100},
       "100x4: 0,0 10x4; 90,0 10x4"},
      {"at the ideal its least", Row({small, Spacer(30), small}), {}, "66x4: 0,0 10x4; 56,0 10x4"},
      {"without room", Row({small, Spacer(30), small}), {.width = 20}, "66x4: 0,0 10x4; 56,0 10x4"},
      {"two share", top({Spacer(0), small, Spacer(0)}), {.width = 50}, "50x4: 20,0 10x4"},
      {"one needs more", top({Spacer(0), small, Spacer(35)}), {.width = 50}, "50x4: 5,0 10x4"},
      {"a column stretches downwards only",
       Column({small, Spacer().padding(1), small}, HorizontalAlignment::leading, 0),
       {70, 40},
       "10x40: 0,0 10x4; 0,36 10x4"},
      {"a row within a row takes what its spacer may",
       top({small, top({small, Spacer(0), small})}),
       {.width = 60},
       "60x4: 0,0 10x4; 10,0 10x4; 50,0 10x4"},
      {"one that stretches keeps its ideal length where the other needs none",
       top({top({ProgressBar(1, 2), small}), Spacer(0)}),
       {.width = 130},
       "130x4: 100,0 10x4"},
      {"infinity is clamped",
       top({Spacer(0), small}),
       {.width = HUGE_VAL},
       "1000000x4: 999990,0 10x4"},
  });
}

TEST(View, ChangesPlacesByPaddingAndFrames) {
  const View small = block(10, 4);
  check({
      {"all edges", small.padding(3), {}, "16x10: 3,3 10x4"},
      {"one edge after another",
       small.padding(Edges::leading, 1).padding(Edges::top, 2).padding(Edges::bottom, 4),
       {},
       "11x10: 1,2 10x4"},
      {"negative padding", small.padding(Edges::horizontal, -2), {}, "6x4: -2,0 10x4"},
      {"but never turns a size negative", small.padding(-20), {}, "0x0: -20,-20 10x4"},
      {"less is offered inside",
       top({Spacer(0), small}).padding(5),
       {.width = 40},
       "40x14: 25,5 10x4"},
      {"a frame centres", small.frame(20, 10), {}, "20x10: 5,3 10x4"},
      {"or aligns",
       small.frame(20, 10, {HorizontalAlignment::trailing, VerticalAlignment::bottom}),
       {},
       "20x10: 10,6 10x4"},
      {"a frame too small", small.frame(6), {}, "6x4: -2,0 10x4"},
      {"its offer",
       top({small, Spacer(0), small}).frame(50),
       {.width = 9},
       "50x4: 0,0 10x4; 40,0 10x4"},
      {"a background all over",
       small.padding(3).background(Color::black()),
       {},
       "16x10: 0,0 16x10; 3,3 10x4"},
  });
}

TEST(View, FitsTextsIntoEveryWidth) {
  const View words = Text("Read: Sources/Auth/Middleware.swift and more");
  const double ideal = still(words).size.width;
  const double lineHeight = still(words).size.height;
  for (double width = 0; width < ideal + 8; width += 7.3) {
    const Frame one = still(words.lineLimit(1), {.width = width});
    EXPECT_LE(one.size.width, width + 0.01);
    EXPECT_NEAR(one.size.height, lineHeight, 0.01) << "one line stays as high at " << width;
    const Frame row = still(
        Row({words.lineLimit(1), Spacer(4), words.lineLimit(1)}, VerticalAlignment::centre, 0),
        {.width = 2 * width + 4});
    EXPECT_NEAR(row.size.width, 2 * width + 4, 0.5 * ideal);
    EXPECT_LE(row.size.width, 2 * width + 4.01);
  }
  EXPECT_GT(still(words, {.width = ideal / 3}).size.height, 2 * lineHeight) << "no limit: breaks";
}

TEST(View, ServesTheLeastFlexibleChildFirst) {
  const View brief = Text("3/4");
  const View lengthy = Text(std::string(200, 'm')).lineLimit(1);
  const double needed = still(brief).size.width;
  const Frame frame = still(Row({lengthy, brief}), {.width = 120});
  ASSERT_EQ(frame.elements.size(), 2U);
  EXPECT_DOUBLE_EQ(frame.elements[1].rect.size.width, needed) << "the short one is whole";
  EXPECT_LE(frame.size.width, 120.01);
}

TEST(View, CentresALabelsSymbolOnItsCapitals) {
  for (const double size : {10.0, 28.0}) {
    const Frame frame = still(Label("Hxg", "terminal").font(Font::system(size)));
    const auto symbols = operations<SymbolOperation>(frame);
    const auto texts = operations<TextOperation>(frame);
    ASSERT_TRUE(symbols.size() == 1 && texts.size() == 1);
    EXPECT_DOUBLE_EQ(symbols[0].box.size.width, 1.2 * size);
    EXPECT_GT(texts[0].origin.x, symbols[0].box.right());
    EXPECT_GE(symbols[0].box.top(), 0);
    EXPECT_LE(symbols[0].box.bottom(), frame.size.height);
    // The middle of capitals is above the middle of a line, which has room for descenders.
    EXPECT_NEAR(symbols[0].box.centre().y, frame.size.height / 2, 0.15 * size);
  }
}

TEST(View, MeasuresStacksNestedCrosswiseInTime) {
  View view = Text("deep and long enough to be broken").lineLimit(2);
  for (int level = 0; level < 120; ++level) {
    view = level % 2 ? View(Row({view, Spacer(1), block(1, 1)}, VerticalAlignment::top, 1))
                     : View(Column({view, ProgressBar(1, 2)}, HorizontalAlignment::leading, 1));
  }
  const auto start = std::chrono::steady_clock::now();
  const Frame frame = still(view, {.width = 300, .height = 500});
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  EXPECT_TRUE(isHarmless(frame));
  EXPECT_EQ(operations<TextOperation>(frame).size() + blocks(frame).size() +
                operations<CapsuleOperation>(frame).size(),
            1U + 60U + 120U)
      << "nothing was left out";
}

}  // namespace
}  // namespace idlewyn::platform

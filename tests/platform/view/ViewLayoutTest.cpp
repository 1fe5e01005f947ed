// SPDX-License-Identifier: MIT
#include <chrono>

#include "ViewSupport.hpp"

namespace idlewyn::platform {
namespace {

struct Case {
  const char* reason;
  View view;
  Proposal proposal;
  Size size;
  std::vector<Rect> blocks;
};

void check(const std::vector<Case>& cases) {
  for (const Case& row : cases) {
    SCOPED_TRACE(row.reason);
    const Frame frame = still(row.view, row.proposal);
    EXPECT_EQ(frame.size, row.size);
    EXPECT_EQ(blocks(frame), row.blocks);
  }
}

TEST(View, PutsChildrenWhereRowsAndColumnsSay) {
  const auto three = [](auto alignment) {
    return std::pair(std::vector<View>{block(10, 4), block(20, 8)}, alignment);
  };
  const auto row = [&](VerticalAlignment alignment) {
    return Row(three(alignment).first, alignment, 5);
  };
  const auto column = [&](HorizontalAlignment alignment) {
    return Column(three(alignment).first, alignment, 5);
  };
  check({
      {"top", row(VerticalAlignment::top), {}, {35, 8}, {{{0, 0}, {10, 4}}, {{15, 0}, {20, 8}}}},
      {"centre",
       row(VerticalAlignment::centre),
       {},
       {35, 8},
       {{{0, 2}, {10, 4}}, {{15, 0}, {20, 8}}}},
      {"bottom",
       row(VerticalAlignment::bottom),
       {},
       {35, 8},
       {{{0, 4}, {10, 4}}, {{15, 0}, {20, 8}}}},
      {"leading",
       column(HorizontalAlignment::leading),
       {},
       {20, 17},
       {{{0, 0}, {10, 4}}, {{0, 9}, {20, 8}}}},
      {"centred",
       column(HorizontalAlignment::centre),
       {},
       {20, 17},
       {{{5, 0}, {10, 4}}, {{0, 9}, {20, 8}}}},
      {"trailing",
       column(HorizontalAlignment::trailing),
       {},
       {20, 17},
       {{{10, 0}, {10, 4}}, {{0, 9}, {20, 8}}}},
      {"nothing takes no spacing",
       Row({View(), block(10, 4), View().padding(9), block(20, 8)}, VerticalAlignment::top, 5),
       {},
       {35, 8},
       {{{0, 0}, {10, 4}}, {{15, 0}, {20, 8}}}},
      {"only nothing is nothing", Column({View(), Row({})}).padding(5), {}, {0, 0}, {}},
      {"children larger than the offer stick out",
       row(VerticalAlignment::top),
       {.width = 12},
       {35, 8},
       {{{0, 0}, {10, 4}}, {{15, 0}, {20, 8}}}},
  });
}

TEST(View, SharesWhatIsLeftAmongThoseThatStretch) {
  const View small = block(10, 4);
  check({
      {"a spacer takes the rest",
       Row({small, Spacer(), small}, VerticalAlignment::top, 5),
       {.width = 100},
       {100, 4},
       {{{0, 0}, {10, 4}}, {{90, 0}, {10, 4}}}},
      {"and its least length at the ideal",
       Row({small, Spacer(30), small}),
       {},
       {66, 4},
       {{{0, 0}, {10, 4}}, {{56, 0}, {10, 4}}}},
      {"which it keeps where there is no room",
       Row({small, Spacer(30), small}),
       {.width = 20},
       {66, 4},
       {{{0, 0}, {10, 4}}, {{56, 0}, {10, 4}}}},
      {"two share",
       Row({Spacer(0), small, Spacer(0)}, VerticalAlignment::top, 0),
       {.width = 50},
       {50, 4},
       {{{20, 0}, {10, 4}}}},
      {"the one that needs more than its share gets it",
       Row({Spacer(0), small, Spacer(35)}, VerticalAlignment::top, 0),
       {.width = 50},
       {50, 4},
       {{{5, 0}, {10, 4}}}},
      {"a column's spacer stretches downwards only",
       Column({small, Spacer().padding(1), small}, HorizontalAlignment::leading, 0),
       {.width = 70, .height = 40},
       {10, 40},
       {{{0, 0}, {10, 4}}, {{0, 36}, {10, 4}}}},
      {"a row within a row takes what its spacer may",
       Row({small, Row({small, Spacer(0), small}, VerticalAlignment::top, 0)},
           VerticalAlignment::top, 0),
       {.width = 60},
       {60, 4},
       {{{0, 0}, {10, 4}}, {{10, 0}, {10, 4}}, {{50, 0}, {10, 4}}}},
      {"one that stretches keeps its ideal length where the other needs none",
       Row({Row({ProgressBar(1, 2), small}, VerticalAlignment::top, 0), Spacer(0)},
           VerticalAlignment::top, 0),
       {.width = 130},
       {130, 4},
       {{{100, 0}, {10, 4}}}},
      {"infinity is clamped",
       Row({Spacer(0), small}, VerticalAlignment::top, 0),
       {.width = HUGE_VAL},
       {1e6, 4},
       {{{1e6 - 10, 0}, {10, 4}}}},
  });
}

TEST(View, ChangesPlacesByPaddingAndFrames) {
  const View small = block(10, 4);
  check({
      {"all edges", small.padding(3), {}, {16, 10}, {{{3, 3}, {10, 4}}}},
      {"one edge after another",
       small.padding(Edges::leading, 1).padding(Edges::top, 2).padding(Edges::bottom, 4),
       {},
       {11, 10},
       {{{1, 2}, {10, 4}}}},
      {"negative padding lets it stick out",
       small.padding(Edges::horizontal, -2),
       {},
       {6, 4},
       {{{-2, 0}, {10, 4}}}},
      {"but never turns a size negative", small.padding(-20), {}, {0, 0}, {{{-20, -20}, {10, 4}}}},
      {"padding is taken off the offer",
       Row({Spacer(0), small}, VerticalAlignment::top, 0).padding(5),
       {.width = 40},
       {40, 14},
       {{{25, 5}, {10, 4}}}},
      {"a frame centres", small.frame(20, 10), {}, {20, 10}, {{{5, 3}, {10, 4}}}},
      {"or aligns",
       small.frame(20, 10, {HorizontalAlignment::trailing, VerticalAlignment::bottom}),
       {},
       {20, 10},
       {{{10, 6}, {10, 4}}}},
      {"a frame too small", small.frame(6), {}, {6, 4}, {{{-2, 0}, {10, 4}}}},
      {"a frame's width is the offer inside",
       Row({small, Spacer(0), small}, VerticalAlignment::top, 0).frame(50),
       {.width = 9},
       {50, 4},
       {{{0, 0}, {10, 4}}, {{40, 0}, {10, 4}}}},
      {"a background covers the padding",
       small.padding(3).background(Color::black()),
       {},
       {16, 10},
       {{{0, 0}, {16, 10}}, {{3, 3}, {10, 4}}}},
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

// SPDX-License-Identifier: MIT
#include <chrono>
#include <iomanip>

#include "ViewSupport.hpp"

namespace idlewyn::platform {
namespace {

/// "WIDTHxHEIGHT: LEFT,TOP WIDTHxHEIGHT; ..." of the frame's blocks.
std::string places(const Frame& frame) {
  std::ostringstream found;
  found << std::setprecision(17) << frame.size.width << 'x' << frame.size.height;
  for (const char* between = ": "; const auto& block : operations<RectangleOperation>(frame)) {
    const Rect& rect = block.rect;
    found << between << rect.left() << ',' << rect.top() << ' ' << rect.size.width << 'x'
          << rect.size.height;
    between = "; ";
  }
  return found.str();
}

View top(std::vector<View> children, double spacing = 0) {
  return Row(std::move(children), VerticalAlignment::top, spacing);
}

TEST(View, PutsChildrenWhereRowsAndColumnsSay) {
  const std::vector<View> two{block(10, 4), block(20, 8)};
  const std::vector<View> gaps{View(), two[0], View().padding(9), two[1]};
  using Across = VerticalAlignment;
  using Along = HorizontalAlignment;
  const std::vector<Described> rows{
      {"top", Row(two, Across::top, 5), "35x8: 0,0 10x4; 15,0 20x8"},
      {"centre", Row(two, Across::centre, 5), "35x8: 0,2 10x4; 15,0 20x8"},
      {"bottom", Row(two, Across::bottom, 5), "35x8: 0,4 10x4; 15,0 20x8"},
      {"leading", Column(two, Along::leading, 5), "20x17: 0,0 10x4; 0,9 20x8"},
      {"centred", Column(two, Along::centre, 5), "20x17: 5,0 10x4; 0,9 20x8"},
      {"trailing", Column(two, Along::trailing, 5), "20x17: 10,0 10x4; 0,9 20x8"},
      {"nothing takes no room", top(gaps, 5), "35x8: 0,0 10x4; 15,0 20x8"},
      {"only nothing is nothing", Column({View(), Row({})}).padding(5), "0x0"},
      {"an offer too small", top(two, 5), "35x8: 0,0 10x4; 15,0 20x8", 12},
  };
  check(places, rows);
}

TEST(View, SharesWhatIsLeftAmongThoseThatStretch) {
  const View small = block(10, 4);
  const View gap = Spacer(0);
  const View apart = Row({small, Spacer(30), small});
  const View bar = top({ProgressBar(1, 2), small});
  const View down = Column({small, Spacer().padding(1), small}, HorizontalAlignment::leading, 0);
  const std::vector<Described> rows{
      {"one spacer", top({small, Spacer(), small}, 5), "100x4: 0,0 10x4; 90,0 10x4", 100},
      {"at the ideal its least", apart, "66x4: 0,0 10x4; 56,0 10x4"},
      {"without room", apart, "66x4: 0,0 10x4; 56,0 10x4", 20},
      {"two share", top({gap, small, gap}), "50x4: 20,0 10x4", 50},
      {"one needs more", top({gap, small, Spacer(35)}), "50x4: 5,0 10x4", 50},
      {"a column stretches downwards only", down, "10x40: 0,0 10x4; 0,36 10x4", 70, 40},
      {"a row within a row takes what its spacer may", top({small, top({small, gap, small})}),
       "60x4: 0,0 10x4; 10,0 10x4; 50,0 10x4", 60},
      {"one that stretches keeps its ideal length where the other needs none", top({bar, gap}),
       "130x4: 100,0 10x4", 130},
      {"infinity is clamped", top({gap, small}), "1000000x4: 999990,0 10x4", HUGE_VAL},
  };
  check(places, rows);
}

TEST(View, ChangesPlacesByPaddingAndFrames) {
  const View small = block(10, 4);
  const View apart = top({small, Spacer(0), small});
  const Alignment corner{HorizontalAlignment::trailing, VerticalAlignment::bottom};
  const std::vector<Described> rows{
      {"all edges", small.padding(3), "16x10: 3,3 10x4"},
      {"one edge after another",
       small.padding(Edges::leading, 1).padding(Edges::top, 2).padding(Edges::bottom, 4),
       "11x10: 1,2 10x4"},
      {"negative padding", small.padding(Edges::horizontal, -2), "6x4: -2,0 10x4"},
      {"but never turns a size negative", small.padding(-20), "0x0: -20,-20 10x4"},
      {"less is offered inside", apart.padding(5), "40x14: 5,5 10x4; 25,5 10x4", 40},
      {"a frame centres", small.frame(20, 10), "20x10: 5,3 10x4"},
      {"or aligns", small.frame(20, 10, corner), "20x10: 10,6 10x4"},
      {"a frame too small", small.frame(6), "6x4: -2,0 10x4"},
      {"its offer", apart.frame(50), "50x4: 0,0 10x4; 40,0 10x4", 9},
      {"a background all over", small.padding(3).background(Color::black()),
       "16x10: 0,0 16x10; 3,3 10x4"},
  };
  check(places, rows);
}

TEST(View, FitsTextsIntoEveryWidth) {
  const View words = Text("Read: Sources/Auth/Middleware.swift and more");
  const View line = words.lineLimit(1);
  const View pair = Row({line, Spacer(4), line}, VerticalAlignment::centre, 0);
  const auto [ideal, lineHeight] = still(words).size;
  for (double width = 0; width < ideal + 8; width += 7.3) {
    const Size one = still(line, english(), {.width = width}).size;
    EXPECT_LE(one.width, width + 0.01);
    EXPECT_NEAR(one.height, lineHeight, 0.01) << "one line stays as high at " << width;
    const double row = still(pair, english(), {.width = 2 * width + 4}).size.width;
    EXPECT_NEAR(row, 2 * width + 4, 0.5 * ideal);
    EXPECT_LE(row, 2 * width + 4.01);
  }
  EXPECT_GT(still(words, english(), {.width = ideal / 3}).size.height, 2 * lineHeight)
      << "no limit: breaks";
}

TEST(View, ServesTheLeastFlexibleChildFirst) {
  const View brief = Text("3/4");
  const View lengthy = Text(std::string(200, 'm')).lineLimit(1);
  const Frame frame = still(Row({lengthy, brief}), english(), {.width = 120});
  ASSERT_EQ(frame.elements.size(), 2U);
  EXPECT_DOUBLE_EQ(frame.elements[1].rect.size.width, still(brief).size.width);
  EXPECT_LE(frame.size.width, 120.01);
}

TEST(View, CentresALabelsSymbolOnItsCapitals) {
  for (const double size : {10.0, 28.0}) {
    const Frame frame = still(Label("Hxg", "terminal").font(Font::system(size)));
    const Rect symbol = operations<SymbolOperation>(frame).at(0).box;
    EXPECT_DOUBLE_EQ(symbol.size.width, 1.2 * size);
    EXPECT_GT(operations<TextOperation>(frame).at(0).origin.x, symbol.right());
    EXPECT_GE(symbol.top(), 0);
    EXPECT_LE(symbol.bottom(), frame.size.height);
    // The middle of capitals is above the middle of a line, which has room for descenders.
    EXPECT_NEAR(symbol.centre().y, frame.size.height / 2, 0.15 * size);
  }
}

TEST(View, MeasuresStacksNestedCrosswiseInTime) {
  View view = Text("deep and long enough to be broken").lineLimit(2);
  for (int level = 0; level < 60; ++level) {
    view = Column({view, ProgressBar(1, 2)}, HorizontalAlignment::leading, 1);
    view = top({view, Spacer(1), block(1, 1)}, 1);
  }
  const auto start = std::chrono::steady_clock::now();
  const Frame frame = still(view, english(), {300, 500});
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  EXPECT_TRUE(isHarmless(frame));
  EXPECT_EQ(frame.operations.size(), 1U + 60U + 120U) << "nothing was left out";
}

struct Depth {
  static constexpr int defaultValue = 7;
};
struct IsRed {
  static constexpr bool defaultValue = false;
};

constexpr Font large = Font::system(40);

/// Says what surrounds it.
struct Probe {
  View body(const Environment& environment) const {
    std::string line = std::to_string(environment.value<Depth>());
    if (environment.value<IsRed>()) line += " red";
    if (environment.font != Environment().font) line += environment.font == large ? " large" : "?";
    if (environment.lineLimit) line += " lines " + std::to_string(*environment.lineLimit);
    if (environment.truncation != TruncationMode::tail) line += " cut";
    if (environment.hasMonospacedDigits) line += " digits";
    return Text(line + ' ' + environment.locale);
  }
};

TEST(Environment, HoldsForWhatAViewContainsAndNoFurther) {
  const View probe = Probe{};
  const View column = Column({probe, probe.environment<IsRed>(false)});
  const View row =
      Row({probe.environment<Depth>(1).font(large).environment<Depth>(2), probe,
           column.lineLimit(3).truncation(TruncationMode::head).environment<IsRed>(true),
           probe.environment(&Environment::locale, "de_AT").monospacedDigits(), probe});
  EXPECT_EQ(spoken(still(row.environment<Depth>(5))),
            "text 1 large en_US; "            // the innermost value counts
            "text 5 en_US; "                  // a sibling's values are put back
            "text 5 red lines 3 cut en_US; "  // a row's hold for its children
            "text 5 lines 3 cut en_US; "      // and can be taken back
            "text 5 digits de_AT; "           // members and keys alike
            "text 5 en_US");                  // everything is put back
  EXPECT_EQ(Environment().value<Depth>(), 7);
}

TEST(Environment, StretchesGradientsOverWhatTheyFill) {
  const LinearGradient gradient(Color(1, 0, 0), Color(0, 0, 1), {0, 0}, {0.5, 1});
  const Frame frame = still(Spacer(0).frame(20, 10).background(gradient, Capsule()).padding(3));
  const auto paint = std::get<GradientPaint>(operations<CapsuleOperation>(frame)[0].paint);
  EXPECT_EQ(paint.start, (Point{3, 3}));
  EXPECT_EQ(paint.end, (Point{13, 13}));
}

TEST(Environment, ScalesTextStylesAndLeavesFixedSizes) {
  const auto width = [](const View& view, double scale) {
    return still(view.environment(&Environment::textScale, scale)).size.width;
  };
  for (const View& view :
       {View(Text("Follows")), View(Label("Follows", "terminal")), View(Symbol("terminal"))}) {
    EXPECT_NEAR(width(view, 2), 2 * width(view, 1), 0.01);
    const View fixed = view.font(Font::system(13));
    EXPECT_DOUBLE_EQ(width(fixed, 2), width(fixed, 1));
    EXPECT_DOUBLE_EQ(width(view, std::nan("")), width(view, 1));
    EXPECT_DOUBLE_EQ(width(view, -5), width(view, 0.1));
  }
}

}  // namespace
}  // namespace idlewyn::platform

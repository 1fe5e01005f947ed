// SPDX-License-Identifier: MIT
#include "ViewSupport.hpp"

namespace idlewyn::platform {
namespace {

struct Depth {
  static constexpr int defaultValue = 7;
};
struct IsRed {
  static constexpr bool defaultValue = false;
};

/// Writes down what surrounds it.
struct Probe {
  std::vector<Environment>* seen;
  View body(const Environment& environment) const {
    seen->push_back(environment);
    return block(1, 1);
  }
};

TEST(Environment, HoldsForWhatAViewContainsAndNoFurther) {
  std::vector<Environment> seen;
  const View probe = Probe{&seen};
  const Font large = Font::system(40);
  still(Row({probe.environment<Depth>(1).font(large).environment<Depth>(2), probe,
             Column({probe, probe.environment<IsRed>(false)})
                 .lineLimit(3)
                 .truncation(TruncationMode::head)
                 .environment<IsRed>(true),
             probe.environment(&Environment::locale, "de_AT").monospacedDigits(), probe})
            .environment<Depth>(5));
  ASSERT_EQ(seen.size(), 6U);
  struct Expected {
    const char* reason;
    int depth;
    bool isRed;
    Font font;
    std::optional<int> lines;
    std::string locale;
  };
  const Font body = Environment().font;
  const std::vector<Expected> expected{
      {"the innermost value counts", 1, false, large, {}, ""},
      {"a sibling's values are put back", 5, false, body, {}, ""},
      {"a row's hold for its children", 5, true, body, 3, ""},
      {"and can be taken back", 5, false, body, 3, ""},
      {"members and keys alike", 5, false, body, {}, "de_AT"},
      {"everything is put back", 5, false, body, {}, ""},
  };
  for (std::size_t i = 0; i < seen.size(); ++i) {
    SCOPED_TRACE(expected[i].reason);
    EXPECT_EQ(seen[i].value<Depth>(), expected[i].depth);
    EXPECT_EQ(seen[i].value<IsRed>(), expected[i].isRed);
    EXPECT_EQ(seen[i].font, expected[i].font);
    EXPECT_EQ(seen[i].lineLimit, expected[i].lines);
    EXPECT_EQ(seen[i].truncation, expected[i].lines ? TruncationMode::head : TruncationMode::tail);
    EXPECT_EQ(seen[i].locale, expected[i].locale);
    EXPECT_EQ(seen[i].hasMonospacedDigits, !expected[i].locale.empty());
  }
  EXPECT_EQ(Environment().value<Depth>(), 7);
}

TEST(Environment, DecidesColoursWhereTheyAreDrawn) {
  const Color pair(Color(1, 0, 0), Color(0, 0, 1, 0.5));
  const View filled = block(2, 2).background(pair);
  const View dark = filled.environment(&Environment::appearance, Appearance::dark);
  const auto rectangles = operations<RectangleOperation>(still(Row({filled, dark, filled})));
  ASSERT_EQ(rectangles.size(), 6U);
  EXPECT_EQ(std::get<RGBA>(rectangles[0].paint), (RGBA{1, 0, 0, 1}));
  EXPECT_EQ(std::get<RGBA>(rectangles[2].paint), (RGBA{0, 0, 1, 0.5}));
  EXPECT_EQ(std::get<RGBA>(rectangles[4].paint), (RGBA{1, 0, 0, 1}));

  Environment night;
  night.appearance = Appearance::dark;
  const Frame frame = still(Symbol("terminal").foreground(pair), {}, night);
  EXPECT_EQ(std::get<RGBA>(operations<SymbolOperation>(frame)[0].paint), (RGBA{0, 0, 1, 0.5}));
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

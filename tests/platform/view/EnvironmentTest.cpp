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

constexpr Font large = Font::system(40);

/// Writes down what surrounds it.
struct Probe {
  std::vector<std::string>* seen;
  View body(const Environment& environment) const {
    std::string line = std::to_string(environment.value<Depth>());
    if (environment.value<IsRed>()) line += " red";
    if (environment.font != Environment().font) line += environment.font == large ? " large" : "?";
    if (environment.lineLimit) line += " lines " + std::to_string(*environment.lineLimit);
    if (environment.truncation != TruncationMode::tail) line += " cut";
    if (environment.hasMonospacedDigits) line += " digits";
    seen->push_back(line + ' ' + environment.locale);
    return block(1, 1);
  }
};

TEST(Environment, HoldsForWhatAViewContainsAndNoFurther) {
  std::vector<std::string> seen;
  const View probe = Probe{&seen};
  still(Row({probe.environment<Depth>(1).font(large).environment<Depth>(2), probe,
             Column({probe, probe.environment<IsRed>(false)})
                 .lineLimit(3)
                 .truncation(TruncationMode::head)
                 .environment<IsRed>(true),
             probe.environment(&Environment::locale, "de_AT").monospacedDigits(), probe})
            .environment<Depth>(5));
  const std::vector<std::string> expected{
      "1 large ",            // the innermost value counts
      "5 ",                  // a sibling's values are put back
      "5 red lines 3 cut ",  // a row's hold for its children
      "5 lines 3 cut ",      // and can be taken back
      "5 digits de_AT",      // members and keys alike
      "5 ",                  // everything is put back
  };
  EXPECT_EQ(seen, expected);
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

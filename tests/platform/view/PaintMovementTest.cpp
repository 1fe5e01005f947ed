// SPDX-License-Identifier: MIT
#include <functional>
#include <utility>

#include "ViewSupport.hpp"

namespace idlewyn::platform {
namespace {

constexpr Color red(1, 0, 0);
constexpr Color blue(0, 0, 1, 0.5);

/// Of the last drawing.
Paint paintOf(const Frame& frame) {
  Paint paint;
  for (const DrawOperation& operation : frame.operations) {
    std::visit(
        [&](const auto& drawing) {
          if constexpr (requires { drawing.paint; }) paint = drawing.paint;
        },
        operation);
  }
  return paint;
}

/// Half way through what the second view may begin; everything is over after it.
Paint halfWay(const View& first, const View& second) {
  Host host;
  const auto show = [&](const View& view, double seconds) {
    return host.frame(view, Environment(), Proposal(), dateFromReferenceSeconds(seconds));
  };
  show(first, 0);
  show(second, 1);
  const Paint paint = paintOf(show(second, 1.6));
  EXPECT_FALSE(show(second, 2.3).isAnimating);
  return paint;
}

double blueness(const Paint& paint) { return std::get<RGBA>(paint).blue; }

/// Red, opaque, to blue, translucent.
bool isMiddle(const RGBA& color) {
  return std::abs(color.red - 0.5) + std::abs(color.green) + std::abs(color.blue - 0.5) +
             std::abs(color.alpha - 0.75) <
         1e-6;
}

View keyed(const View& content, int key) {
  return content.animation(Animation::easeInOut(1.2), key);
}

TEST(Host, MovesColoursInsideOfAnAnimationOnly) {
  using Make = std::function<View(const ShapeStyle&)>;
  const std::vector<std::pair<const char*, Make>> makes{
      {"text", [](const ShapeStyle& style) { return Text("x").foreground(style); }},
      {"symbol", [](const ShapeStyle& style) { return Symbol("terminal").foreground(style); }},
      {"label", [](const ShapeStyle& style) { return Label("x", "terminal").foreground(style); }},
      {"background", [](const ShapeStyle& style) { return Spacer(9).background(style); }},
      {"tint", [](const ShapeStyle& style) { return ProgressBar(1, 1).tint(style); }},
  };
  const LinearGradient down(red, blue, {0, 0}, {0, 1});
  const LinearGradient across(blue, red, {0, 0}, {1, 0});
  for (const auto& [name, make] : makes) {
    SCOPED_TRACE(name);
    EXPECT_TRUE(isMiddle(std::get<RGBA>(halfWay(keyed(make(red), 1), keyed(make(blue), 2)))));
    EXPECT_EQ(blueness(halfWay(keyed(make(red), 1), keyed(make(blue), 1))), 1) << "no new key";
    EXPECT_EQ(blueness(halfWay(make(red), make(blue))), 1) << "no animation";
    const View pair = make(Color(red, blue));
    const View dark = pair.environment(&Environment::appearance, Appearance::dark);
    const View light = pair.environment(&Environment::appearance, Appearance::light);
    EXPECT_EQ(blueness(halfWay(keyed(light, 1), keyed(dark, 1))), 1) << "the appearance alone";
    const auto gradient =
        std::get<GradientPaint>(halfWay(keyed(make(down), 1), keyed(make(across), 2)));
    EXPECT_TRUE(isMiddle(gradient.from) && isMiddle(gradient.to));
    EXPECT_GT(gradient.end.x, gradient.start.x);
    EXPECT_EQ(blueness(halfWay(keyed(make(down), 1), keyed(make(blue), 2))), 1)
        << "a gradient has no way to a colour";
  }
}

}  // namespace
}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/view/Painter.hpp>
#include <IdlewynKit/platform/view/Symbols.hpp>

namespace idlewyn::platform {
namespace {

constexpr const char* systemNames[] = {
    "sparkle",
    "chevron.left.forwardslash.chevron.right",
    "circle.dotted.circle",
    "hand.raised.fill",
    "checkmark.circle.fill",
    "exclamationmark.triangle.fill",
    "moon.zzz.fill",
    "terminal",
};

/// A symbol in a box of `side` points, with a margin of 2 around it.
Image picture(SymbolName symbol, double side, double alpha = 1, double offset = 0) {
  Frame frame;
  frame.size = {side + 4, side + 4};
  const double at = 2 + offset;
  frame.operations.emplace_back(
      SymbolOperation{symbol, {{at, at}, {side, side}}, RGBA{0, 0, 0, alpha}});
  return paintImage(frame, 1);
}

double coverage(const Image& image) {
  double sum = 0;
  for (const std::uint32_t pixel : image.pixels)
    sum += (pixel >> 24U) / 255.0;
  return sum;
}

TEST(Symbols, haveADrawingOfTheirOwnForEachKnownName) {
  std::set<std::vector<std::uint32_t>> pictures{picture(SymbolName::placeholder, 24).pixels};
  for (const std::string name : systemNames) {
    EXPECT_NE(symbolNamed(name), SymbolName::placeholder) << name;
    EXPECT_TRUE(pictures.insert(picture(symbolNamed(name), 24).pixels).second) << name;
    for (const std::string& other : {name + " ", name.substr(1), "S" + name.substr(1)})
      EXPECT_EQ(symbolNamed(other), SymbolName::placeholder) << other;
  }
  EXPECT_EQ(symbolNamed(""), SymbolName::placeholder);
}

TEST(Symbols, fillTheirBoxAndStayInsideAtEverySize) {
  for (const char* name : systemNames) {
    for (const double side : {12.0, 16.8, 24.0, 33.6}) {
      const Image image = picture(symbolNamed(name), side);
      const double share = coverage(image) / (side * side);
      EXPECT_GT(share, 0.1) << name << side;  // a symbol, no speck
      EXPECT_LT(share, 0.8) << name << side;  // nor a blot
      for (int along = 0; along < image.width; ++along) {
        const auto column = static_cast<std::size_t>(along);
        const auto width = static_cast<std::size_t>(image.width);
        EXPECT_EQ(image.pixels[column], 0U) << name;
        EXPECT_EQ(image.pixels[column * width], 0U) << name;
        EXPECT_EQ(image.pixels[(width - 1) * width + column], 0U) << name;
      }
    }
  }
}

TEST(Symbols, areEvenlyTranslucent) {
  for (const char* name : systemNames) {
    // 600 points are beyond masks: outlines, where what overlaps would be darker.
    const Image image = picture(symbolNamed(name), 600, 0.5);
    const auto darkest = *std::max_element(image.pixels.begin(), image.pixels.end()) >> 24U;
    EXPECT_NEAR(darkest, 128, 1) << name;
  }
}

TEST(Symbols, areSharpWhereverTheyStand) {
  const Image still = picture(SymbolName::terminal, 20);
  EXPECT_EQ(picture(SymbolName::terminal, 20, 1, 0.3), still);
  EXPECT_NE(picture(SymbolName::terminal, 20, 1, 0.7), still);  // by a whole pixel
}

}  // namespace
}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/UI.hpp>

#include "tests/platform/view/ViewSupport.hpp"

/// What a view looks like at one instant, English, in points and pixels.
namespace idlewyn::shown {

inline constexpr Date now = platform::dateFromReferenceSeconds(800'000'000);

inline Date after(double seconds) { return now + DateClock::duration(seconds); }

inline Environment english(Appearance appearance = Appearance::light) {
  Environment environment;
  environment.locale = "en_US";
  environment.appearance = appearance;
  return environment;
}

inline Frame show(const View& view, const Environment& environment = english(),
                  const Proposal& proposal = {}) {
  return frameOf(view, environment, proposal, now);
}

/// What a screen reader says, element for element.
inline std::vector<std::string> spoken(const Frame& frame) {
  std::vector<std::string> labels;
  for (const AccessibleElement& element : frame.elements)
    labels.push_back(element.label);
  return labels;
}

using platform::operations;

/// A square of one colour, which makes layers visible as pixels.
inline View square(const Color& color) { return Text("").frame(4, 4).background(color); }

/// Of the point (2, 2): 0xAARRGGBB, premultiplied.
inline std::uint32_t pixel(const Frame& frame) {
  const auto image = paintImage(frame, 1);
  return image.pixels.at(static_cast<std::size_t>(2 * image.width + 2));
}

/// Pixels alike but for rounding.
inline testing::AssertionResult isNear(std::uint32_t actual, std::uint32_t expected) {
  for (const int shift : {0, 8, 16, 24}) {
    const int distance =
        static_cast<int>(actual >> shift & 0xFF) - static_cast<int>(expected >> shift & 0xFF);
    if (distance < -1 || distance > 1) {
      return testing::AssertionFailure() << std::hex << actual << " is far from " << expected;
    }
  }
  return testing::AssertionSuccess();
}

}  // namespace idlewyn::shown

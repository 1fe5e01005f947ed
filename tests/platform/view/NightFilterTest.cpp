// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/internal/paint/NightFilter.hpp>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace idlewyn::platform {
namespace {

using namespace internal;

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

/// The filter in doubles and without haste, on colours that are not premultiplied.
double expectedChannel(const ColorFilter& filter, std::uint32_t pixel, int shift) {
  const double alpha = (pixel >> 24U) / 255.0;
  if (alpha == 0) return 0;
  const auto plain = [&](int at) { return ((pixel >> at) & 0xFFU) / 255.0 / alpha; };
  const double grey = 0.2126 * plain(16) + 0.7152 * plain(8) + 0.0722 * plain(0);
  double value = plain(shift) + filter.grayscale * (grey - plain(shift));
  value = std::clamp(filter.contrast * (value - 0.5) + 0.5, 0.0, 1.0);
  const double by = shift == 16  ? filter.multiply.red
                    : shift == 8 ? filter.multiply.green
                                 : filter.multiply.blue;
  return value * by * alpha * filter.multiply.alpha * 255;
}

TEST(NightFilter, agreesWithTheFormulaOnRowsOfEveryLengthAndStaysPremultiplied) {
  const ColorFilter colors{1, 1.3, {1, 0.28, 0.22, 1}};
  const ColorFilter onItsWay{0.5, 1.15, {1, 0.64, 0.61, 1}};
  const ColorFilter faint{0.3, 0.2, {1, 1, 1, 0.5}};
  const ColorFilter steep{1, 1000, {0, 1, 1, 1}};
  const ColorFilter outOfRange{-3, 1, {7, 1, 2, 1}};
  const ColorFilter noNumbers{notANumber, notANumber, {notANumber, 1, 1, notANumber}};
  struct Case {
    ColorFilter filter, meant;
    double slack;
  };
  const Case cases[] = {
      {colors, colors, 1.01},    {onItsWay, onItsWay, 1.01},
      {faint, faint, 1.01},      {steep, steep, 300},  // a step, where rounding decides
      {outOfRange, {}, 1e-6},    {noNumbers, {}, 1e-6},
      {ColorFilter(), {}, 1e-6},  // the same as before
  };
  std::mt19937 random(7);
  for (const auto& [filter, meant, slack] : cases) {
    for (std::size_t length = 0; length < 70; ++length) {
      std::vector<std::uint32_t> row(length);
      for (std::uint32_t& pixel : row) {
        const std::uint32_t alpha = random() % 256;
        pixel = alpha << 24U;
        for (int shift = 0; shift < 24; shift += 8)
          pixel |= random() % (alpha + 1) << shift;
      }
      std::vector<std::uint32_t> result = row;
      applyFilter(filter, result.data(), length);
      for (std::size_t index = 0; index < length; ++index) {
        for (int shift = 0; shift < 24; shift += 8) {
          const std::uint32_t value = result[index] >> shift & 0xFFU;
          EXPECT_NEAR(value, expectedChannel(meant, row[index], shift), slack);
          EXPECT_LE(value, result[index] >> 24U);
        }
      }
    }
  }
}

}  // namespace
}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/view/internal/NightFilter.hpp>

namespace idlewyn::platform {
namespace {

constexpr ColorFilter night{1, 1.3, {1, 0.28, 0.22, 1}};
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

std::uint32_t filtered(const ColorFilter& filter, std::uint32_t pixel) {
  applyFilter(filter, &pixel, 1);
  return pixel;
}

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

TEST(NightFilter, changesNothingAtTheIdentity) {
  const ColorFilter same[] = {
      {0, 1, {1, 1, 1, 1}},
      {-3, 1, {7, 1, 2, 1}},                                     // out of range: the nearest
      {notANumber, notANumber, {notANumber, 1, 1, notANumber}},  // nothing to go by
  };
  for (const ColorFilter& filter : same)
    for (std::uint32_t value = 0; value < 256; ++value)
      EXPECT_EQ(filtered(filter, 0xFF000000 | value * 0x010203), 0xFF000000 | value * 0x010203);
}

TEST(NightFilter, agreesWithTheFormulaOnRowsOfEveryLengthAndStaysPremultiplied) {
  std::mt19937 random(7);
  const ColorFilter filters[] = {night,
                                 {0.5, 1.15, {1, 0.64, 0.61, 1}},  // on its way
                                 {0.3, 0.2, {1, 1, 1, 0.5}},
                                 {1, 1000, {0, 1, 1, 1}}};
  for (const ColorFilter& filter : filters) {
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
        const double slack = filter.contrast > 2 ? 300 : 1.01;  // a step, where rounding decides
        for (int shift = 0; shift < 24; shift += 8) {
          const std::uint32_t value = result[index] >> shift & 0xFFU;
          EXPECT_NEAR(value, expectedChannel(filter, row[index], shift), slack);
          EXPECT_LE(value, result[index] >> 24U);
        }
      }
    }
  }
}

}  // namespace
}  // namespace idlewyn::platform

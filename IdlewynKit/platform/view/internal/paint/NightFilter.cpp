// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/internal/paint/NightFilter.hpp>

#include <algorithm>
#include <cmath>

namespace idlewyn::platform::internal {
namespace {

constexpr double maximumContrast = 1000;

double bounded(double value, double most, double otherwise) {
  return std::isnan(value) ? otherwise : std::clamp(value, 0.0, most);
}

/// The filter as coefficients. Premultiplied values work like plain ones when mid-grey is scaled
/// by alpha too: nothing has to be divided.
struct Coefficients {
  float own;  ///< of the channel
  float red;  ///< of the luminance
  float green;
  float blue;
  float grey;  ///< of alpha
  float multiplyAlpha;
  float multiplyRed;
  float multiplyGreen;
  float multiplyBlue;
};

Coefficients coefficientsOf(const ColorFilter& filter) {
  const double luminance = filter.grayscale * filter.contrast;
  const RGBA& by = filter.multiply;
  const auto narrow = [](double value) { return static_cast<float>(value); };
  return {narrow((1 - filter.grayscale) * filter.contrast),
          narrow(0.2126 * luminance),
          narrow(0.7152 * luminance),
          narrow(0.0722 * luminance),
          narrow(0.5 * (1 - filter.contrast)),
          narrow(by.alpha),
          narrow(by.red * by.alpha),
          narrow(by.green * by.alpha),
          narrow(by.blue * by.alpha)};
}

/// Inlined into functions for several instruction sets, each vectorised by the compiler.
[[gnu::always_inline]] inline void filterPixels(const Coefficients& c, std::uint32_t* pixels,
                                                std::size_t count) {
  const Coefficients k = c;
  for (std::size_t index = 0; index < count; ++index) {
    const auto pixel = static_cast<std::int32_t>(pixels[index]);
    const auto alpha = static_cast<float>((pixel >> 24) & 0xFF);
    const auto red = static_cast<float>((pixel >> 16) & 0xFF);
    const auto green = static_cast<float>((pixel >> 8) & 0xFF);
    const auto blue = static_cast<float>(pixel & 0xFF);
    const float common = k.red * red + k.green * green + k.blue * blue + k.grey * alpha;
    const auto channel = [&](float value, float multiply) {
      float result = k.own * value + common;
      result = result < 0 ? 0 : result;
      result = result > alpha ? alpha : result;
      return static_cast<std::int32_t>(result * multiply + 0.5F);
    };
    const auto newAlpha = static_cast<std::int32_t>(alpha * k.multiplyAlpha + 0.5F);
    pixels[index] = static_cast<std::uint32_t>(
        (newAlpha << 24) | (channel(red, k.multiplyRed) << 16) |
        (channel(green, k.multiplyGreen) << 8) | channel(blue, k.multiplyBlue));
  }
}

void filterPlainly(const Coefficients& c, std::uint32_t* pixels, std::size_t count) {
  filterPixels(c, pixels, count);
}

#if defined(__x86_64__)
// Not target_clones: its resolver runs before the sanitizers are ready.
[[gnu::target("avx2,fma")]] void filterWide(const Coefficients& c, std::uint32_t* pixels,
                                            std::size_t count) {
  filterPixels(c, pixels, count);
}

bool isWide() { return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"); }
#else
constexpr auto filterWide = filterPlainly;

bool isWide() { return false; }
#endif

}  // namespace

ColorFilter ColorFilter::clamped() const noexcept {
  return {bounded(grayscale, 1, 0),
          bounded(contrast, maximumContrast, 1),
          {bounded(multiply.red, 1, 1), bounded(multiply.green, 1, 1), bounded(multiply.blue, 1, 1),
           bounded(multiply.alpha, 1, 1)}};
}

bool ColorFilter::isIdentity() const noexcept {
  return grayscale == 0 && contrast == 1 && multiply == RGBA{1, 1, 1, 1};
}

void applyFilter(const ColorFilter& filter, std::uint32_t* pixels, std::size_t count) noexcept {
  const ColorFilter amounts = filter.clamped();
  if (amounts.isIdentity()) return;
  static const bool wide = isWide();
  (wide ? filterWide : filterPlainly)(coefficientsOf(amounts), pixels, count);
}

}  // namespace idlewyn::platform::internal

// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

#include <IdlewynKit/platform/view/Color.hpp>

/// What turns a picture into a red monochrome one, pixel by pixel.
///
///     const ColorFilter night{1, 1.3, {1, 0.28, 0.22, 1}};
///     applyFilter(night, image.pixels.data(), image.pixels.size());
namespace idlewyn::platform::internal {

/// On stored sRGB values: first towards their luminance (Rec. 709) by `grayscale`, 0 to 1, then
/// away from mid-grey by `contrast`, then times `multiply`.
struct ColorFilter {
  double grayscale = 0;
  double contrast = 1;
  RGBA multiply{1, 1, 1, 1};

  /// Amounts out of range count as the nearest in it, those that are no numbers as identity.
  ColorFilter clamped() const noexcept;
  bool isIdentity() const noexcept;
};

/// In place; pixels are premultiplied 0xAARRGGBB and stay valid ones.
void applyFilter(const ColorFilter& filter, std::uint32_t* pixels, std::size_t count) noexcept;

}  // namespace idlewyn::platform::internal

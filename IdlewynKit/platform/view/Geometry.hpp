// SPDX-License-Identifier: MIT
#pragma once

/// Places and sizes in points, y downwards.
namespace idlewyn::platform {

struct Point {
  double x = 0;
  double y = 0;
  friend constexpr bool operator==(Point, Point) = default;
};

struct Size {
  double width = 0;
  double height = 0;
  friend constexpr bool operator==(Size, Size) = default;
};

struct Rect {
  Point origin;
  Size size;

  constexpr double left() const noexcept { return origin.x; }
  constexpr double top() const noexcept { return origin.y; }
  constexpr double right() const noexcept { return origin.x + size.width; }
  constexpr double bottom() const noexcept { return origin.y + size.height; }
  constexpr Point centre() const noexcept {
    return {origin.x + size.width / 2, origin.y + size.height / 2};
  }
  friend constexpr bool operator==(const Rect&, const Rect&) = default;
};

}  // namespace idlewyn::platform

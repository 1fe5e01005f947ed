// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <variant>

#include <IdlewynKit/platform/view/Geometry.hpp>

/// Colours and gradients, constants of the compiler.
///
///     constexpr Color ink(27 / 255.0, 42 / 255.0, 94 / 255.0);
///     constexpr Color label(Color(0, 0, 0), Color(1, 1, 1));   // light, dark
///     view.foreground(label.opacity(0.8));
namespace idlewyn::platform {

enum class Appearance : std::uint8_t { light, dark };

/// sRGB components and opacity, 0 to 1, not premultiplied.
struct RGBA {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;
  friend constexpr bool operator==(const RGBA&, const RGBA&) = default;
};

/// One colour, or a pair that resolves where it is drawn to the one of the appearance there.
class Color {
 public:
  constexpr Color(double red, double green, double blue, double opacity = 1)
      : light_{red, green, blue, opacity}, dark_(light_) {}
  constexpr Color(const Color& light, const Color& dark)
      : light_(light.light_), dark_(dark.dark_) {}

  static constexpr Color white() { return {1, 1, 1}; }
  static constexpr Color black() { return {0, 0, 0}; }
  static constexpr Color clear() { return {0, 0, 0, 0}; }

  /// The same colour with its opacity multiplied.
  constexpr Color opacity(double factor) const {
    Color result = *this;
    result.light_.alpha *= factor;
    result.dark_.alpha *= factor;
    return result;
  }
  constexpr RGBA resolved(Appearance appearance) const {
    return appearance == Appearance::dark ? dark_ : light_;
  }
  friend constexpr bool operator==(const Color&, const Color&) = default;

 private:
  RGBA light_;
  RGBA dark_;
};

/// From one colour to another along a line between two points of the unit square, (0, 0) being
/// the top left of what is filled.
struct LinearGradient {
  constexpr LinearGradient(const Color& from, const Color& to, Point startPoint = {0.5, 0},
                           Point endPoint = {0.5, 1})
      : from(from), to(to), startPoint(startPoint), endPoint(endPoint) {}

  Color from;
  Color to;
  Point startPoint;
  Point endPoint;
  friend constexpr bool operator==(const LinearGradient&, const LinearGradient&) = default;
};

/// Anything that fills: made from a colour or a gradient without saying so.
class ShapeStyle {
 public:
  constexpr ShapeStyle(const Color& color) : value_(color) {}                 // NOLINT: implicit
  constexpr ShapeStyle(const LinearGradient& gradient) : value_(gradient) {}  // NOLINT: implicit

  constexpr const std::variant<Color, LinearGradient>& value() const noexcept { return value_; }
  friend constexpr bool operator==(const ShapeStyle&, const ShapeStyle&) = default;

 private:
  std::variant<Color, LinearGradient> value_;
};

}  // namespace idlewyn::platform

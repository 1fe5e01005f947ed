// SPDX-License-Identifier: MIT
#pragma once

#include <IdlewynKit/platform/view/Color.hpp>

/// The colours and opacities of sessions and of what stands around them. A pair follows the
/// appearance where it is drawn, everything else looks the same in light and dark.
///
///     text(title).foreground(Palette::OnDark::primary);
///     icon.foreground(Palette::Status::failed.opacity(Palette::disabledOpacity));
namespace idlewyn {

using platform::Color;
using platform::LinearGradient;

namespace internal {
constexpr Color sRGB8(int red, int green, int blue) {
  return {red / 255.0, green / 255.0, blue / 255.0};
}
}  // namespace internal

struct Palette {
  Palette() = delete;

  static constexpr Color ink = internal::sRGB8(27, 42, 94);
  static constexpr Color inkDeep = internal::sRGB8(7, 11, 28);
  static constexpr Color moon = internal::sRGB8(255, 246, 220);
  /// From the top to the bottom of what it fills.
  static constexpr LinearGradient sky{ink, inkDeep, {0.5, 0}, {0.5, 1}};
  static constexpr Color skyGlow = ink.opacity(0.9);
  static constexpr Color liveActivityBackground = inkDeep.opacity(0.85);
  /// What night mode multiplies the picture by.
  static constexpr Color nightRed{1, 0.28, 0.22};
  /// For text and icons on a fill of a status colour.
  static constexpr Color onStatusFill{internal::sRGB8(246, 242, 233), internal::sRGB8(7, 11, 28)};
  static constexpr Color providerBadge{internal::sRGB8(74, 78, 99), internal::sRGB8(201, 198, 214)};
  static constexpr double disabledOpacity = 0.55;

  /// Pairs of light and dark.
  struct Status {
    Status() = delete;

    static constexpr Color working{internal::sRGB8(0, 98, 204), internal::sRGB8(108, 184, 255)};
    static constexpr Color waiting{internal::sRGB8(184, 74, 0), internal::sRGB8(255, 166, 48)};
    static constexpr Color finished{internal::sRGB8(26, 127, 55), internal::sRGB8(61, 214, 107)};
    static constexpr Color failed{internal::sRGB8(198, 40, 40), internal::sRGB8(255, 123, 114)};
    static constexpr Color idle{internal::sRGB8(99, 99, 102), internal::sRGB8(161, 161, 166)};
  };

  /// For content on a dark background, in either appearance.
  struct OnDark {
    OnDark() = delete;

    static constexpr Color primary = internal::sRGB8(246, 242, 233);
    static constexpr Color secondary = primary.opacity(0.72);
    static constexpr Color tertiary = primary.opacity(0.58);
    static constexpr Color card = inkDeep.opacity(0.6);
    static constexpr Color cardRaised = ink.opacity(0.95);
  };

  /// Opacities of fills, borders and states drawn in a tint colour.
  struct Tint {
    Tint() = delete;

    static constexpr double fill = 0.15;
    static constexpr double hover = 0.15;
    static constexpr double border = 0.2;
    static constexpr double strongFill = 0.22;
    static constexpr double pressed = 0.28;
    static constexpr double strongBorder = 0.7;
  };
};

}  // namespace idlewyn

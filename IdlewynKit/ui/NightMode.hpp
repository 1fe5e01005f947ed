// SPDX-License-Identifier: MIT
#pragma once

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/view/View.hpp>

/// Turns a tree of views into a red picture that does not blind at night, and back.
///
///     View window = nightMode(Column({clock, hiddenAtNight(advice), sessions}), isNight);
namespace idlewyn {

using platform::View;

/// Whether it is night around a view. An application's own views read it with
/// `environment.value<IsNightMode>()` and a program may set it in an Environment.
struct IsNightMode {
  static constexpr bool defaultValue = false;
};

struct NightModeModifier {
  IDLEWYNKIT_EXPORT explicit NightModeModifier(bool isOn);

  /// Grey, then 30 per cent more contrast, then multiplied by `Palette::nightRed`. A change of
  /// `isOn` eases in and out over 1.2 seconds, with everything else in the content that changes
  /// because of it. Off leaves the picture as it is, also what an outer one makes of it, but
  /// still tells its content that it is not night.
  IDLEWYNKIT_EXPORT View body(const View& content) const;

  friend bool operator==(const NightModeModifier&, const NightModeModifier&) = default;

  bool isOn;
};

/// The same modifier, applied.
IDLEWYNKIT_EXPORT View nightMode(const View& content, bool isOn);

/// Invisible while `IsNightMode` is true around it; keeps its place.
IDLEWYNKIT_EXPORT View hiddenAtNight(const View& content);

}  // namespace idlewyn

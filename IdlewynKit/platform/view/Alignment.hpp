// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>

/// What a parent offers a view, and where it puts one that is smaller than its place.
namespace idlewyn::platform {

/// Lengths in points, each on its own: absent asks for the ideal length, 0 for the least, infinity
/// for the most. The view chooses. NaN counts as absent, what is negative as 0; no length exceeds
/// a million points.
struct Proposal {
  std::optional<double> width;
  std::optional<double> height;
  friend bool operator==(const Proposal&, const Proposal&) = default;
};

enum class HorizontalAlignment : std::uint8_t { leading, centre, trailing };
enum class VerticalAlignment : std::uint8_t { top, centre, bottom };

/// Leading is left: the toolkit mirrors texts, not arrangements.
struct Alignment {
  HorizontalAlignment horizontal = HorizontalAlignment::centre;
  VerticalAlignment vertical = VerticalAlignment::centre;
};

enum class Edges : std::uint8_t {
  leading = 1,
  trailing = 2,
  horizontal = 3,
  top = 4,
  bottom = 8,
  vertical = 12,
  all = 15,
};

}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cmath>
#include <optional>

#include <IdlewynKit/platform/view/Alignment.hpp>
#include <IdlewynKit/platform/view/Color.hpp>

/// Numbers from outside, made harmless once, so that arithmetic on them stays finite.
namespace idlewyn::platform::internal {

inline constexpr double maximumLength = 1'000'000;

/// What is no number becomes `otherwise`, the rest is clamped.
inline double sane(double value, double least, double most, double otherwise) {
  return std::isnan(value) ? otherwise : std::clamp(value, least, most);
}
inline double saneLength(double value) { return sane(value, 0, maximumLength, 0); }

inline std::optional<double> saneLength(std::optional<double> value) {
  if (!value || std::isnan(*value)) return std::nullopt;
  return std::clamp(*value, 0.0, maximumLength);
}
inline Proposal sane(const Proposal& proposal) {
  return {saneLength(proposal.width), saneLength(proposal.height)};
}
inline double saneTextScale(double scale) { return sane(scale, 0.1, 20, 1); }

inline RGBA sane(const RGBA& color) {
  return {sane(color.red, 0, 1, 0), sane(color.green, 0, 1, 0), sane(color.blue, 0, 1, 0),
          sane(color.alpha, 0, 1, 1)};
}

/// The part of a total, 0 to 1.
inline double fractionOf(double value, double total) {
  return total > 0 ? sane(value / total, 0, 1, 0) : 0;
}

}  // namespace idlewyn::platform::internal

// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// Ages as people count them: the two largest units, whole ones.
namespace idlewyn::platform::internal {

struct RelativeAge {
  int unit = 0;            ///< index into `ageUnits`
  std::int64_t count = 0;  ///< of that unit
  std::int64_t rest = 0;   ///< of the next smaller one
  friend bool operator==(const RelativeAge&, const RelativeAge&) = default;
};

/// Seconds, from years on downwards; months and years are mean ones of the Gregorian calendar.
inline constexpr std::int64_t ageUnits[] = {31'556'952, 2'629'746, 86'400, 3'600, 60, 1};
inline constexpr int secondUnit = 5;

constexpr RelativeAge relativeAge(std::int64_t seconds) {
  int unit = 0;
  while (unit < secondUnit && seconds < ageUnits[unit])
    ++unit;
  const std::int64_t count = seconds / ageUnits[unit];
  if (unit == secondUnit) return {unit, count, 0};
  return {unit, count, seconds % ageUnits[unit] / ageUnits[unit + 1]};
}

/// The least age that counts the same.
constexpr std::int64_t startOf(const RelativeAge& age) {
  const std::int64_t rest = age.unit == secondUnit ? 0 : age.rest * ageUnits[age.unit + 1];
  return age.count * ageUnits[age.unit] + rest;
}

/// The next age that counts otherwise. A month has no whole number of days and a year's months
/// are followed by the next year: whichever ends first ends the count.
constexpr std::int64_t nextStart(std::int64_t seconds) {
  const RelativeAge age = relativeAge(seconds);
  const std::int64_t step = age.unit == secondUnit ? 1 : ageUnits[age.unit + 1];
  std::int64_t next = startOf(age) + step;
  const std::int64_t whole = (age.count + 1) * ageUnits[age.unit];
  if (whole < next) next = whole;
  if (age.unit > 0 && ageUnits[age.unit - 1] < next) next = ageUnits[age.unit - 1];
  return next;
}

}  // namespace idlewyn::platform::internal

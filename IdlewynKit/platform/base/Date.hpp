// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

#include <IdlewynKit/Export.hpp>

/// Points in time as double seconds since 2001-01-01 00:00:00 UTC.
///
///     Date now = DateClock::now();
///     Date earlier = now - std::chrono::seconds(20);
///     double unix = secondsSince1970(earlier);
namespace idlewyn::platform {

/// The clock of Date: UTC without leap seconds, epoch 2001-01-01, double seconds.
/// Around today a tick of the double is about 0.1 microseconds.
struct DateClock {
  using rep = double;
  using period = std::ratio<1>;
  using duration = std::chrono::duration<double>;
  using time_point = std::chrono::time_point<DateClock>;
  static constexpr bool is_steady = false;

  IDLEWYNKIT_EXPORT static time_point now() noexcept;
};

using Date = DateClock::time_point;

/// 2001-01-01 as seconds since 1970-01-01.
inline constexpr double referenceDateSince1970 = 978'307'200.0;

constexpr Date dateFromReferenceSeconds(double seconds) noexcept {
  return Date{DateClock::duration{seconds}};
}
constexpr double secondsSinceReferenceDate(Date date) noexcept {
  return date.time_since_epoch().count();
}
constexpr Date dateFromSecondsSince1970(double seconds) noexcept {
  return dateFromReferenceSeconds(seconds - referenceDateSince1970);
}
constexpr double secondsSince1970(Date date) noexcept {
  return secondsSinceReferenceDate(date) + referenceDateSince1970;
}

/// Conversions to and from the system clock. `toSystemClock` saturates at the ends of its
/// range (about the years 1677 to 2262) and reads a date that is not a number as the epoch.
IDLEWYNKIT_EXPORT Date fromSystemClock(std::chrono::system_clock::time_point time) noexcept;
IDLEWYNKIT_EXPORT std::chrono::system_clock::time_point toSystemClock(Date date) noexcept;

/// The first instant of year 1 in the proleptic Gregorian calendar, UTC: "never".
inline constexpr Date distantPast = dateFromReferenceSeconds(-63'113'904'000.0);
/// The first instant of year 4001, UTC: later than any date that is meant.
inline constexpr Date distantFuture = dateFromReferenceSeconds(63'113'904'000.0);

}  // namespace idlewyn::platform

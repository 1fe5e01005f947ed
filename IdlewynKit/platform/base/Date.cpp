// SPDX-License-Identifier: MIT
#include <cmath>
#include <cstdint>

#include <IdlewynKit/platform/base/Date.hpp>

namespace idlewyn::platform {
namespace {

using Clock = std::chrono::system_clock;
using Ticks = Clock::period;
static_assert(Ticks::num == 1);

}  // namespace

DateClock::time_point DateClock::now() noexcept {
  return fromSystemClock(std::chrono::system_clock::now());
}

Date fromSystemClock(std::chrono::system_clock::time_point time) noexcept {
  // Whole seconds and the rest apart: one double can't hold today's nanoseconds since 1970.
  constexpr std::int64_t ticks = Ticks::den;
  const std::int64_t count = time.time_since_epoch().count();
  const std::int64_t seconds = count / ticks - static_cast<std::int64_t>(referenceDateSince1970);
  const double rest = static_cast<double>(count % ticks) / static_cast<double>(ticks);
  return dateFromReferenceSeconds(static_cast<double>(seconds) + rest);
}

std::chrono::system_clock::time_point toSystemClock(Date date) noexcept {
  const double reference = secondsSinceReferenceDate(date);
  if (std::isnan(reference)) return Clock::time_point{};
  constexpr auto ticks = static_cast<double>(Ticks::den);
  constexpr double limit = static_cast<double>(Clock::duration::max().count()) / ticks - 1;
  const double whole = std::floor(reference);
  const double since1970 = whole + referenceDateSince1970;
  if (since1970 >= limit) return Clock::time_point::max();
  if (since1970 <= -limit) return Clock::time_point::min();
  const auto rest = static_cast<Clock::rep>(std::llround((reference - whole) * ticks));
  return Clock::time_point{std::chrono::seconds(static_cast<std::int64_t>(since1970))} +
         Clock::duration{rest};
}

}  // namespace idlewyn::platform

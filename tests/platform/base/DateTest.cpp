// SPDX-License-Identifier: MIT
#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/base/Date.hpp>

namespace idlewyn::platform {
namespace {

using namespace std::chrono_literals;
using System = std::chrono::system_clock;

constexpr System::time_point reference = std::chrono::sys_days{std::chrono::year{2001} / 1 / 1};

TEST(Date, countsSecondsFromTheFirstInstantOf2001) {
  EXPECT_EQ(secondsSinceReferenceDate(fromSystemClock(reference)), 0);
  EXPECT_EQ(secondsSince1970(fromSystemClock(System::time_point{})), 0);
  EXPECT_EQ(secondsSinceReferenceDate(dateFromSecondsSince1970(978'307'200)), 0);
  const std::chrono::sys_days yearOne = std::chrono::year{1} / 1 / 1;
  EXPECT_EQ(secondsSince1970(distantPast),
            static_cast<double>(std::chrono::sys_seconds(yearOne).time_since_epoch().count()));
}

TEST(Date, convertsToTheSystemClockAndBackWithoutLosingAnything) {
  // The nanoseconds of the system clock are finer than the double, but for dates near 2001.
  for (const double value : {0.0, 0.25, -0.25, 794'412'429.123456789, -1e9 - 0.1, 5e9 + 0.7}) {
    const auto time = toSystemClock(dateFromReferenceSeconds(value));
    EXPECT_NEAR(secondsSinceReferenceDate(fromSystemClock(time)), value, 5e-10);
  }
  const System::time_point fine = reference + 794'412'429s + 123'456'789ns;
  EXPECT_LT(std::chrono::abs(toSystemClock(fromSystemClock(fine)) - fine), 120ns);
}

TEST(Date, saturatesAtTheEndsOfTheSystemClock) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const std::pair<Date, System::time_point> cases[] = {
      {dateFromReferenceSeconds(1e12), System::time_point::max()},
      {dateFromReferenceSeconds(infinity), System::time_point::max()},
      {distantPast, System::time_point::min()},
      {dateFromReferenceSeconds(-infinity), System::time_point::min()},
      {dateFromReferenceSeconds(std::nan("")), System::time_point{}},
  };
  for (const auto& [date, expected] : cases)
    EXPECT_EQ(toSystemClock(date), expected);
  EXPECT_LT(fromSystemClock(System::time_point::min()), fromSystemClock(System::time_point::max()));
}

}  // namespace
}  // namespace idlewyn::platform

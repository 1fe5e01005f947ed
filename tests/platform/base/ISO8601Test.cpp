// SPDX-License-Identifier: MIT
#include <cmath>
#include <ctime>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/base/ISO8601.hpp>

namespace idlewyn::platform {
namespace {

std::string formatted(Date date) {
  std::string text = "<";
  appendISO8601(date, text);
  return text.substr(1);
}

/// By the calendar of the standard library.
Date midnight(std::chrono::sys_days day) {
  return dateFromSecondsSince1970(
      static_cast<double>(std::chrono::sys_seconds(day).time_since_epoch().count()));
}
Date midnight(int year, int month, int day) {
  return midnight(std::chrono::year{year} / month / day);
}

TEST(ISO8601, readsBothFormsAndNothingElse) {
  const double noon = secondsSinceReferenceDate(midnight(2026, 3, 5)) + 14 * 3600 + 7 * 60 + 9;
  constexpr auto required = FractionOfSecond::required;
  constexpr auto absent = FractionOfSecond::absent;
  const std::tuple<std::string_view, FractionOfSecond, std::optional<double>, const char*> cases[] =
      {
          {"2026-03-05T14:07:09.250Z", required, noon + 0.25, "milliseconds"},
          {"2026-03-05T14:07:09Z", absent, noon, "whole seconds"},
          {"2026-03-05T14:07:09.250Z", absent, {}, "a fraction where none may be"},
          {"2026-03-05T14:07:09Z", required, {}, "no fraction where one must be"},
          {"2026-03-05T14:07:09.5Z", required, noon + 0.5, "one digit"},
          {"2026-03-05T14:07:09.123456789Z", required, noon + 0.123456789, "nine digits"},
          {"2026-03-05T14:07:09.1234567890Z", required, {}, "ten digits"},
          {"2026-03-05T14:07:09.Z", required, {}, "a full stop without digits"},
          {"2026-03-05T16:07:09.250+0200", required, noon + 0.25, "east"},
          {"2026-03-05T16:07:09+02:00", absent, noon, "an offset with a colon"},
          {"2026-03-06T00:07:09+10:00", absent, noon, "the offset goes over midnight"},
          {"2026-03-05T14:07:09+02", absent, {}, "an offset of hours alone"},
          {"2026-03-05T14:07:09+2400", absent, {}, "an offset of a day"},
          {"2026-03-05T14:07:09+0060", absent, {}, "an offset of sixty minutes"},
          {"2026-03-05T14:07:09", absent, {}, "no zone"},
          {"2026-03-05T14:07:09z", absent, {}, "a small z"},
          {"2026-03-05t14:07:09Z", absent, {}, "a small t"},
          {"2026-03-05", absent, {}, "a day alone"},
          {"", absent, {}, "nothing"},
          {"2026-02-28T23:60:00Z", absent, {}, "minute 60"},
          {"2026-02-28T23:59:60Z", absent, {}, "a leap second"},
          {"2026-13-10T00:00:00Z", absent, {}, "month 13"},
          {"2026-01-00T00:00:00Z", absent, {}, "day 0"},
          {"2026-04-31T00:00:00Z", absent, {}, "a day too many"},
          {"2026-02-29T00:00:00Z", absent, {}, "no leap year"},
          {"2026-03-05T14:07:0:Z", absent, {}, "the character behind the digits"},
          {"2026-03-05T14:07:0/Z", absent, {}, "the character before the digits"},
      };
  for (const auto& [text, fraction, seconds, reason] : cases) {
    const auto date = parseISO8601(text, fraction);
    EXPECT_EQ(date ? std::optional(secondsSinceReferenceDate(*date)) : std::nullopt, seconds)
        << text << ": " << reason;
  }
}

// The form that is written is read in another way than all others.
TEST(ISO8601, readsTheWrittenFormAsAnyOther) {
  for (const std::string_view sample :
       {"2026-03-05T14:07:09.250", "2024-02-29T23:59:59.999", "1900-02-28T00:00:00.001"}) {
    for (std::size_t at = 0; at < sample.size(); ++at) {
      for (int byte = 0; byte < 256; ++byte) {
        std::string text(sample);
        text[at] = static_cast<char>(byte);
        ASSERT_EQ(parseISO8601(text + "Z", FractionOfSecond::required),
                  parseISO8601(text + "+00:00", FractionOfSecond::required))
            << text;
      }
    }
  }
}

TEST(ISO8601, agreesWithTheCalendarOnEveryDayAndKeepsEveryMillisecond) {
  const std::chrono::sys_days first = std::chrono::year{0} / 1 / 1;
  const std::chrono::sys_days last = std::chrono::year{9999} / 12 / 31;
  char expected[32];
  std::mt19937_64 random(7);
  std::uniform_int_distribution milliseconds(0, 86'399'999);
  for (auto day = first; day <= last; day += std::chrono::days{1}) {
    const std::chrono::year_month_day date = day;
    std::snprintf(expected, sizeof expected, "%04d-%02u-%02uT00:00:00.000Z",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()));
    ASSERT_EQ(formatted(midnight(day)), expected);
    ASSERT_EQ(parseISO8601(expected, FractionOfSecond::required), midnight(day)) << expected;
    const Date time = midnight(day) + std::chrono::milliseconds(milliseconds(random));
    const std::string text = formatted(time);
    const auto back = parseISO8601(text, FractionOfSecond::required);
    ASSERT_NEAR(secondsSinceReferenceDate(back.value()), secondsSinceReferenceDate(time), 1e-5);
    ASSERT_EQ(formatted(*back), text);
  }
}

TEST(ISO8601, writesTheNearestMillisecondAndSaturates) {
  const Date base = midnight(2026, 3, 5);
  const auto at = [&](double seconds) { return base + DateClock::duration(seconds); };
  const std::tuple<Date, const char*, const char*> cases[] = {
      {at(9), "2026-03-05T00:00:09.000Z", "a whole second has its fraction"},
      {at(0.0004), "2026-03-05T00:00:00.000Z", "down"},
      {at(0.0006), "2026-03-05T00:00:00.001Z", "up"},
      {at(59.9996), "2026-03-05T00:01:00.000Z", "never 60 seconds"},
      {at(86'399.9996), "2026-03-06T00:00:00.000Z", "into the next day"},
      {dateFromReferenceSeconds(-0.25), "2000-12-31T23:59:59.750Z", "before 2001"},
      {distantPast, "0001-01-01T00:00:00.000Z", "the most distant past"},
      {midnight(0, 1, 1), "0000-01-01T00:00:00.000Z", "the first date there is"},
      {midnight(0, 1, 1) - DateClock::duration(1), "0000-01-01T00:00:00.000Z", "before it"},
      {midnight(9999, 12, 31) + DateClock::duration(86'399.9996), "9999-12-31T23:59:59.999Z",
       "no year 10000 by rounding"},
      {midnight(10'000, 1, 1), "9999-12-31T23:59:59.999Z", "beyond"},
      {dateFromReferenceSeconds(std::nan("")), "0001-01-01T00:00:00.000Z", "no number"},
  };
  for (const auto& [date, text, reason] : cases)
    EXPECT_EQ(formatted(date), text) << reason;
}

}  // namespace
}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#include <chrono>
#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/view/internal/TimeText.hpp>

namespace idlewyn::platform {
namespace {

using Seconds = std::chrono::duration<double>;
using Format = TimeText (*)(Date, Date, std::string_view);

constexpr Date now = dateFromReferenceSeconds(817'300'000.25);
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

/// ICU joins with spaces that don't break in some locales.
std::string plain(std::string text) {
  for (const std::string space : {"\u00A0", "\u202F"})
    for (std::size_t at; (at = text.find(space)) != std::string::npos;)
      text.replace(at, space.size(), " ");
  return text;
}

struct Case {
  double age;
  const char* locale;
  const char* text;
};

TEST(TimeText, showsTheClockOfTheLocale) {
  const Case cases[] = {
      {0, "en_US", "0:00"},
      {59.9, "en_US", "0:59"},
      {247, "en_US", "4:07"},
      {3600, "en_US", "1:00:00"},
      {3847, "de_DE.UTF-8", "1:04:07"},
      {100 * 3600 + 61, "en_US", "100:01:01"},
      {247, "fi", "4.07"},
      {3847, "da_DK", "1.04.07"},
      {-30, "en_US", "0:00"},  // a clock that is behind
      {notANumber, "en_US", "0:00"},
  };
  for (const auto& [elapsed, locale, text] : cases)
    EXPECT_EQ(timerText(now - Seconds(elapsed), now, locale).text, text) << elapsed << locale;
}

TEST(TimeText, statesAgesInTheirTwoLargestUnits) {
  const Case cases[] = {
      {0, "en_US", "0 sec"},
      {60, "en_US", "1 min"},
      {8040, "en_US", "2 hr, 14 min"},
      {8040, "de_DE.UTF-8", "2 Std., 14 Min."},
      {8040, "", "2 h, 14 min"},
      {86'400 + 3600, "en_US", "1 day, 1 hr"},
      {4e7, "en_US", "1 yr, 3 mths"},
      {-90, "en_US", "1 min, 30 sec"},    // the future, counted down
      {-90.5, "en_US", "1 min, 31 sec"},  // each count lasts until it is reached
      {infinity, "en_US", "10,000 yrs"},
      {-1e300, "en_US", "10,000 yrs"},
      {notANumber, "en_US", "\u2013"},
  };
  for (const auto& [age, locale, text] : cases)
    EXPECT_EQ(plain(relativeDateText(now - Seconds(age), now, locale).text), text) << age << locale;
}

/// Follows the due times from `age` to `end`: each text lasts until its due time, not longer.
int walk(Format format, Date date, double age, double end) {
  int changes = 0;
  Date at = date + Seconds(age);
  TimeText shown = format(date, at, "en_US");
  while (at < date + Seconds(end)) {
    if (!shown.nextChange || *shown.nextChange <= at) {
      ADD_FAILURE() << shown.text << " is never due at " << (at - date).count();
      return changes;
    }
    const Date due = *shown.nextChange;
    for (const Date before : {at + (due - at) / 2, due - Seconds(0.001)}) {
      const TimeText same = format(date, before, "en_US");
      EXPECT_EQ(same.text, shown.text) << (before - date).count();
      EXPECT_EQ(same.nextChange, due) << (before - date).count();
    }
    const TimeText next = format(date, due, "en_US");
    EXPECT_NE(next.text, shown.text) << (due - date).count();
    shown = next;
    at = due;
    ++changes;
    if (testing::Test::HasFailure()) return changes;
  }
  return changes;
}

TEST(TimeText, isDueExactlyWhenTheTextChanges) {
  constexpr double year = 31'556'952;
  // Dates whose sums are rounded: fractions, and far ones where a double is coarse.
  for (const Date date : {now, dateFromReferenceSeconds(0.1), dateFromReferenceSeconds(1e9 / 3),
                          dateFromReferenceSeconds(-63'113'904'000.3)}) {
    EXPECT_GT(walk(relativeDateText, date, 0, 3 * year), 6000);
    EXPECT_GT(walk(relativeDateText, date, -3 * year, 1), 6000);
    EXPECT_GT(walk(timerText, date, -2, 7300), 7300 - 2);
  }
}

TEST(TimeText, isNeverDueWhereNothingIsCounted) {
  for (const double age : {notANumber, infinity, -infinity, 1e300, -1e300, 1e18}) {
    const Date date = now - Seconds(age);
    EXPECT_EQ(relativeDateText(date, now, "en_US").nextChange, std::nullopt) << age;
    EXPECT_EQ(timerText(date, now, "en_US").nextChange, std::nullopt) << age;
  }
  const Date far = dateFromReferenceSeconds(1e22);  // a double can't count seconds there
  EXPECT_EQ(relativeDateText(far, far, "en_US").nextChange, std::nullopt);
}

}  // namespace
}  // namespace idlewyn::platform

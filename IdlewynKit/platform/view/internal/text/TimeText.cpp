// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/internal/text/TimeText.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <tuple>
#include <vector>

#include <unicode/locid.h>
#include <unicode/measfmt.h>
#include <unicode/measunit.h>
#include <unicode/measure.h>
#include <unicode/unistr.h>

#include <IdlewynKit/platform/view/internal/text/RelativeAge.hpp>

namespace idlewyn::platform::internal {
namespace {

constexpr std::int64_t longest = 10'000 * ageUnits[0];
constexpr std::size_t maximumRemembered = 4096;

std::unique_ptr<icu::MeasureUnit> icuUnit(int unit, UErrorCode& error) {
  using Create = icu::MeasureUnit* (*)(UErrorCode&);
  constexpr Create creators[] = {icu::MeasureUnit::createYear,   icu::MeasureUnit::createMonth,
                                 icu::MeasureUnit::createDay,    icu::MeasureUnit::createHour,
                                 icu::MeasureUnit::createMinute, icu::MeasureUnit::createSecond};
  return std::unique_ptr<icu::MeasureUnit>(creators[unit](error));
}

struct Count {
  int unit;
  std::int64_t value;
};

/// Empty where ICU fails.
std::string format(const icu::MeasureFormat& formatter, const std::vector<Count>& counts) {
  UErrorCode error = U_ZERO_ERROR;
  std::vector<icu::Measure> measures;
  measures.reserve(counts.size());
  for (const Count& count : counts)
    measures.emplace_back(icu::Formattable(count.value), icuUnit(count.unit, error).release(),
                          error);
  icu::UnicodeString text;
  icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
  formatter.formatMeasures(measures.data(), static_cast<int32_t>(measures.size()), text, position,
                           error);
  std::string bytes;
  if (U_SUCCESS(error)) text.toUTF8String(bytes);
  return bytes;
}

icu::Locale named(const std::string& locale) {
  return locale.empty() ? icu::Locale::getDefault() : icu::Locale::createCanonical(locale.c_str());
}

/// What ICU makes of a locale, remembered: the first text costs milliseconds, one like it again
/// less than one microsecond.
class LocaleTexts {
 public:
  explicit LocaleTexts(const std::string& locale)
      : clock_(named(locale), UMEASFMT_WIDTH_NUMERIC, clockError_),
        age_(named(locale), UMEASFMT_WIDTH_SHORT, ageError_) {}

  const std::string& clock(std::int64_t seconds) {
    std::vector<Count> counts{{4, seconds / 60 % 60}, {5, seconds % 60}};
    if (seconds >= 3600) counts.insert(counts.begin(), Count{3, seconds / 3600});
    return remembered({-1, seconds, 0}, clock_, clockError_, counts);
  }

  const std::string& age(const RelativeAge& age) {
    std::vector<Count> counts{{age.unit, age.count}};
    if (age.rest > 0) counts.push_back({age.unit + 1, age.rest});
    return remembered({age.unit, age.count, age.rest}, age_, ageError_, counts);
  }

 private:
  using Key = std::tuple<int, std::int64_t, std::int64_t>;

  const std::string& remembered(const Key& key, const icu::MeasureFormat& formatter,
                                UErrorCode error, const std::vector<Count>& counts) {
    const auto found = texts_.find(key);
    if (found != texts_.end()) return found->second;
    if (texts_.size() >= maximumRemembered) texts_.clear();
    return texts_.emplace(key, U_SUCCESS(error) ? format(formatter, counts) : "").first->second;
  }

  UErrorCode clockError_ = U_ZERO_ERROR;
  UErrorCode ageError_ = U_ZERO_ERROR;
  icu::MeasureFormat clock_;
  icu::MeasureFormat age_;
  std::map<Key, std::string> texts_;
};

LocaleTexts& textsOf(std::string_view locale) {
  constexpr std::size_t maximumLocales = 16;
  thread_local std::map<std::string, std::unique_ptr<LocaleTexts>, std::less<>> known;
  const auto found = known.find(locale);
  if (found != known.end()) return *found->second;
  if (known.size() >= maximumLocales) known.clear();
  const std::string name(locale.substr(0, 100));
  return *known.emplace(locale, std::make_unique<LocaleTexts>(name)).first->second;
}

/// Seconds are counted from sums of doubles: a due time must find its own second begun.
double slack(Date a, Date b) {
  const double larger =
      std::max(std::abs(secondsSinceReferenceDate(a)), std::abs(secondsSinceReferenceDate(b)));
  return std::clamp(larger * 1e-15, 1e-6, 0.5);
}

bool isWithin(double seconds) { return std::abs(seconds) < static_cast<double>(longest); }

/// The next due time; absent where doubles are too coarse to tell it from now.
std::optional<Date> later(Date from, std::int64_t seconds, Date now) {
  const Date due = from + std::chrono::duration<double>(static_cast<double>(seconds));
  return due > now ? std::optional(due) : std::nullopt;
}

}  // namespace

TimeText timerText(Date start, Date now, std::string_view locale) {
  const double elapsed = (now - start).count();
  if (std::isnan(elapsed)) return {textsOf(locale).clock(0), std::nullopt};
  if (!isWithin(elapsed)) return {textsOf(locale).clock(elapsed < 0 ? 0 : longest), std::nullopt};
  const double counted = std::max(0.0, std::floor(elapsed + slack(start, now)));
  const auto seconds = static_cast<std::int64_t>(counted);
  return {textsOf(locale).clock(seconds), later(start, seconds + 1, now)};
}

TimeText relativeDateText(Date date, Date now, std::string_view locale) {
  const double age = (now - date).count();
  if (std::isnan(age)) return {"\u2013", std::nullopt};
  if (!isWithin(age)) return {textsOf(locale).age(relativeAge(longest)), std::nullopt};
  if (age >= 0) {
    const auto seconds = static_cast<std::int64_t>(std::floor(age + slack(date, now)));
    return {textsOf(locale).age(relativeAge(seconds)), later(date, nextStart(seconds), now)};
  }
  // Counted down: each count is shown until it is reached, so that it ends at a certain instant.
  const auto left = static_cast<std::int64_t>(std::max(0.0, std::ceil(-age - slack(date, now))));
  const std::int64_t begun = startOf(relativeAge(left));
  const std::int64_t shown = begun == left ? left : nextStart(left);
  if (shown == 0) return {textsOf(locale).age(relativeAge(0)), later(date, 1, now)};
  return {textsOf(locale).age(relativeAge(shown)),
          later(date, -startOf(relativeAge(shown - 1)), now)};
}

}  // namespace idlewyn::platform::internal

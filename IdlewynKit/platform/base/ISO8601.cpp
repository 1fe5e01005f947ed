// SPDX-License-Identifier: MIT
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>

#include <IdlewynKit/platform/base/ISO8601.hpp>

namespace idlewyn::platform {
namespace {

constexpr std::int64_t secondsPerDay = 86'400;
constexpr auto reference = static_cast<std::int64_t>(referenceDateSince1970);

/// Days from 1970-01-01 to a civil date of the years 0 to 9999. The year is taken to begin in
/// March, so that the leap day is its last day.
constexpr std::int32_t daysFromCivil(std::uint32_t year, std::uint32_t month, std::uint32_t day) {
  const std::uint32_t shifted = year + 400 - (month <= 2 ? 1 : 0);  // 400: never below zero
  const std::uint32_t century = shifted / 100;
  const std::uint32_t monthFromMarch = month > 2 ? month - 3 : month + 9;
  const std::uint32_t dayOfYear = (153 * monthFromMarch + 2) / 5 + day - 1;
  const std::uint32_t days = shifted * 365 + shifted / 4 - century + century / 4 + dayOfYear;
  return static_cast<std::int32_t>(days) - (719'468 + 146'097);
}

constexpr std::int64_t firstSecond = daysFromCivil(0, 1, 1) * secondsPerDay - reference;
constexpr std::int64_t lastSecond = (daysFromCivil(9999, 12, 31) + 1) * secondsPerDay - reference;
constexpr double firstMillisecond = static_cast<double>(firstSecond * 1000);
constexpr double lastMillisecond = static_cast<double>(lastSecond * 1000 - 1);
constexpr double distantPastMilliseconds = secondsSinceReferenceDate(distantPast) * 1000;

/// Reads fields of a text and remembers whether all of them were digits.
class DigitReader {
 public:
  explicit DigitReader(const char* text) noexcept : text_(text) {}

  std::uint32_t two(std::size_t at) noexcept { return digit(at) * 10 + digit(at + 1); }
  std::uint32_t four(std::size_t at) noexcept { return two(at) * 100 + two(at + 2); }
  std::uint32_t digit(std::size_t at) noexcept {
    const std::uint32_t value = static_cast<std::uint32_t>(text_[at]) - '0';
    bad_ |= static_cast<std::uint32_t>(value > 9);
    return value;
  }
  bool allDigits() const noexcept { return bad_ == 0; }

 private:
  const char* text_;
  std::uint32_t bad_ = 0;
};

std::uint32_t lengthOfMonth(std::uint32_t year, std::uint32_t month) {
  if (month == 2) return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0) ? 29 : 28;
  return 30 + ((month ^ (month >> 3)) & 1);
}

/// Reads "Z", "+hhmm" or "+hh:mm" as seconds east of UTC.
std::optional<std::int64_t> parseZone(std::string_view zone) {
  if (zone == "Z") return 0;
  if (zone.size() < 5 || (zone[0] != '+' && zone[0] != '-')) return std::nullopt;
  const bool hasColon = zone.size() == 6 && zone[3] == ':';
  if (zone.size() != 5 && !hasColon) return std::nullopt;
  DigitReader reader(zone.data());
  const std::uint32_t hours = reader.two(1);
  const std::uint32_t minutes = reader.two(hasColon ? 4 : 3);
  if (!reader.allDigits() || hours > 23 || minutes > 59) return std::nullopt;
  const auto seconds = static_cast<std::int64_t>(hours * 3600 + minutes * 60);
  return zone[0] == '-' ? -seconds : seconds;
}

/// Reads the digits at the start of `text`, at most nine, as a fraction and removes them.
std::optional<double> takeFraction(std::string_view& text) {
  static constexpr std::array<double, 10> scales{1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9};
  std::uint32_t value = 0;
  std::size_t count = 0;
  for (; count < text.size() && count < 9; ++count) {
    const std::uint32_t digit = static_cast<std::uint32_t>(text[count]) - '0';
    if (digit > 9) break;
    value = value * 10 + digit;
  }
  if (count == 0) return std::nullopt;
  text.remove_prefix(count);
  return value / scales[count];
}

/// The two digits of a number below 100, the first one in the lower byte.
std::uint64_t twoDigits(std::uint32_t value) {
  static constexpr auto pairs = [] {
    std::array<std::uint16_t, 100> table{};
    for (unsigned i = 0; i < 100; ++i) {
      table[i] = static_cast<std::uint16_t>('0' + i / 10 + ('0' + i % 10) * 256);
    }
    return table;
  }();
  return pairs[value];
}

/// Stores eight characters, the first one in the lowest byte of the word.
void store(char* to, std::uint64_t word) {
  if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
  std::memcpy(to, &word, sizeof word);
}

/// The whole millisecond nearest to the date, within the years 0000 to 9999.
std::int64_t nearestMillisecond(Date date) {
  double milliseconds = secondsSinceReferenceDate(date) * 1000;
  if (!(milliseconds >= firstMillisecond && milliseconds <= lastMillisecond)) [[unlikely]] {
    if (std::isnan(milliseconds)) {
      milliseconds = distantPastMilliseconds;
    } else {
      milliseconds = milliseconds < 0 ? firstMillisecond : lastMillisecond;
    }
  }
  const auto whole = static_cast<std::int64_t>(milliseconds);
  const double rest = milliseconds - static_cast<double>(whole);
  return whole + static_cast<std::int64_t>(rest >= 0.5) - static_cast<std::int64_t>(rest < -0.5);
}

struct CivilDay {
  std::uint32_t year, month, day;
};

/// The civil date of a day counted from March 1st of the year -400. The multiplications divide
/// (Neri and Schneider, "Euclidean affine functions and applications to calendar algorithms").
CivilDay civilFromDays(std::uint32_t days) {
  const std::uint32_t quarters = 4 * days + 3;
  const std::uint32_t century = quarters / 146'097;
  const std::uint32_t inCentury = (quarters % 146'097) | 3;
  const std::uint64_t scaled = std::uint64_t{2'939'745} * inCentury;
  const auto yearOfCentury = static_cast<std::uint32_t>(scaled >> 32);
  const std::uint32_t dayOfYear = static_cast<std::uint32_t>(scaled) / 2'939'745 / 4;
  const std::uint32_t months = 2141 * dayOfYear + 197'913;
  const bool isNextYear = dayOfYear >= 306;
  return {100 * century + yearOfCentury + (isNextYear ? 1 : 0) - 400,
          (months >> 16) - (isNextYear ? 12 : 0), (months & 0xFFFF) / 2141 + 1};
}

}  // namespace

std::optional<Date> parseISO8601(std::string_view text, FractionOfSecond fraction) noexcept {
  if (text.size() < 20) return std::nullopt;
  const char* at = text.data();
  DigitReader reader(at);
  const std::uint32_t year = reader.four(0), month = reader.two(5), day = reader.two(8);
  const std::uint32_t hour = reader.two(11), minute = reader.two(14), second = reader.two(17);
  const bool delimited =
      at[4] == '-' && at[7] == '-' && at[10] == 'T' && at[13] == ':' && at[16] == ':';
  if (!reader.allDigits() || !delimited || hour > 23 || minute > 59 || second > 59) {
    return std::nullopt;
  }
  if (month - 1 > 11 || day == 0 || day > lengthOfMonth(year, month)) return std::nullopt;

  text.remove_prefix(19);
  double rest = 0;
  if (fraction == FractionOfSecond::required) {
    if (text[0] != '.') return std::nullopt;
    text.remove_prefix(1);
    const auto digits = takeFraction(text);
    if (!digits) return std::nullopt;
    rest = *digits;
  }
  const auto zone = parseZone(text);
  if (!zone) return std::nullopt;
  const std::int64_t seconds = daysFromCivil(year, month, day) * secondsPerDay + hour * 3600 +
                               minute * 60 + second - reference - *zone;
  return dateFromReferenceSeconds(static_cast<double>(seconds) + rest);
}

void appendISO8601(Date date, std::string& text) {
  // Counted from the first day of the year -400 that begins in March: never negative.
  constexpr std::int64_t origin = -(719'468 + 146'097);
  constexpr std::int64_t shift = (reference - origin * secondsPerDay) * 1000;
  const auto total = static_cast<std::uint64_t>(nearestMillisecond(date) + shift);
  const std::uint64_t seconds = total / 1000;
  const auto milliseconds = static_cast<std::uint32_t>(total % 1000);
  const CivilDay civil = civilFromDays(static_cast<std::uint32_t>(seconds / secondsPerDay));
  const auto inDay = static_cast<std::uint32_t>(seconds % secondsPerDay);
  const auto character = [](char c, int at) { return static_cast<std::uint64_t>(c) << (8 * at); };

  const std::size_t size = text.size();
  text.append("YYYY-MM-DDThh:mm:ss.mmmZ", 24);
  char* to = text.data() + size;
  store(to, twoDigits(civil.year / 100) | twoDigits(civil.year % 100) << 16 | character('-', 4) |
                twoDigits(civil.month) << 40 | character('-', 7));
  store(to + 8, twoDigits(civil.day) | character('T', 2) | twoDigits(inDay / 3600) << 24 |
                    character(':', 5) | twoDigits(inDay / 60 % 60) << 48);
  store(to + 16, character(':', 0) | twoDigits(inDay % 60) << 8 | character('.', 3) |
                     character(static_cast<char>('0' + milliseconds / 100), 4) |
                     twoDigits(milliseconds % 100) << 40 | character('Z', 7));
}

}  // namespace idlewyn::platform

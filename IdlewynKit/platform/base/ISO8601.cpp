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
constexpr std::size_t writtenLength = 24;
constexpr auto reference = static_cast<std::int64_t>(referenceDateSince1970);

/// Days from 0000-01-01 to the first day of a year.
constexpr std::int32_t daysBeforeYear(std::uint32_t century, std::uint32_t yearOfCentury,
                                      bool isLeap) {
  // The leap years until this one, which has not had its leap day yet.
  const std::uint32_t leapYears = century * 24 + century / 4 + yearOfCentury / 4 + (isLeap ? 0 : 1);
  return static_cast<std::int32_t>((century * 100 + yearOfCentury) * 365 + leapYears);
}

constexpr std::int32_t referenceDay = daysBeforeYear(20, 1, false);
constexpr std::int64_t firstSecond = -referenceDay * secondsPerDay;
constexpr std::int64_t lastSecond = (daysBeforeYear(100, 0, true) - referenceDay) * secondsPerDay;
constexpr double firstMillisecond = static_cast<double>(firstSecond * 1000);
constexpr double lastMillisecond = static_cast<double>(lastSecond * 1000 - 1);
constexpr double distantPastMilliseconds = secondsSinceReferenceDate(distantPast) * 1000;

/// What eight characters of a text have to be, as a word with the first of them in its lowest byte:
/// digits where the form has a 0, and otherwise what the form has.
struct Form {
  template <std::size_t size>
  consteval explicit Form(const char (&form)[size]) {
    static_assert(size == 8 + 1);
    for (int at = 0; at < 8; ++at) {
      characters |= static_cast<std::uint64_t>(form[at]) << (8 * at);
      if (form[at] != '0') fixed |= std::uint64_t{0xFF} << (8 * at);
    }
  }
  std::uint64_t characters = 0, fixed = 0;
};

constexpr Form dayForm("0000-00-"), timeForm("00T00:00"), secondForm(":00.000Z");

/// Eight characters of a text, read by their form.
class Characters {
 public:
  Characters(const char* text, const Form& form) noexcept
      : digits_(load(text) ^ form.characters), pairs_(digits_ * 10 + (digits_ >> 8)) {
    // A digit stays below 16 when 6 is added.
    constexpr std::uint64_t sixes = 0x0606'0606'0606'0606u, highs = 0xF0F0'F0F0'F0F0'F0F0u;
    wrong_ = ((digits_ | (digits_ + sixes)) & highs) | (digits_ & form.fixed);
  }

  /// Zero if all characters are as they have to be.
  std::uint64_t wrong() const noexcept { return wrong_; }
  std::uint32_t digit(int at) const noexcept { return byte(digits_, at); }
  std::uint32_t two(int at) const noexcept { return byte(pairs_, at); }

 private:
  static std::uint64_t load(const char* text) noexcept {
    std::uint64_t word = 0;
    std::memcpy(&word, text, sizeof word);
    if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
    return word;
  }
  static std::uint32_t byte(std::uint64_t word, int at) noexcept {
    return static_cast<std::uint32_t>(word >> (8 * at)) & 0xFF;
  }

  std::uint64_t digits_, pairs_, wrong_ = 0;
};

/// The months of a year by their numbers; a number that is no month has no days.
struct Months {
  std::array<std::uint8_t, 100> lengths{};
  std::array<std::int16_t, 100> daysBefore{};  // since the year began
};

constexpr Months monthsOf(bool isLeap) {
  constexpr std::array<int, 12> lengths{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  Months result;
  int days = 0;
  for (std::size_t month = 1; month <= 12; ++month) {
    const int length = lengths[month - 1] + (month == 2 && isLeap ? 1 : 0);
    result.lengths[month] = static_cast<std::uint8_t>(length);
    result.daysBefore[month] = static_cast<std::int16_t>(days);
    days += length;
  }
  return result;
}

constexpr std::array<Months, 2> months{monthsOf(false), monthsOf(true)};

/// Seconds since the reference date, of the fields of `YYYY-MM-DDThh:mm`.
[[gnu::always_inline]] inline std::optional<std::int64_t> secondsOf(
    const Characters& first, const Characters& second, std::uint32_t seconds) noexcept {
  const std::uint32_t century = first.two(0), yearOfCentury = first.two(2), month = first.two(5);
  const std::uint32_t day = second.two(0), hour = second.two(3), minute = second.two(6);
  const bool isLeap = (yearOfCentury != 0 ? yearOfCentury : century) % 4 == 0;
  const Months& year = months[isLeap ? 1 : 0];
  if (day - 1 >= year.lengths[month] || hour > 23 || minute > 59 || seconds > 59)
    return std::nullopt;
  const std::int32_t days = daysBeforeYear(century, yearOfCentury, isLeap) - referenceDay +
                            year.daysBefore[month] + static_cast<std::int32_t>(day) - 1;
  return days * secondsPerDay + (hour * 60 + minute) * 60 + seconds;
}

/// Reads the one form that `appendISO8601` writes.
std::optional<Date> parseWritten(const char* text) noexcept {
  const Characters first(text, dayForm), second(text + 8, timeForm), third(text + 16, secondForm);
  if ((first.wrong() | second.wrong() | third.wrong()) != 0) return std::nullopt;
  const auto seconds = secondsOf(first, second, third.two(1));
  if (!seconds) return std::nullopt;
  const std::uint32_t milliseconds = third.two(4) * 10 + third.digit(6);
  return dateFromReferenceSeconds(static_cast<double>(*seconds) + milliseconds / 1000.0);
}

/// The number of two digits; 100 and more if they are none.
std::uint32_t readTwo(const char* text) noexcept {
  const std::uint32_t tens = static_cast<std::uint32_t>(text[0]) - '0';
  const std::uint32_t ones = static_cast<std::uint32_t>(text[1]) - '0';
  return tens > 9 || ones > 9 ? 100 : tens * 10 + ones;
}

/// Reads "Z", "+hhmm" or "+hh:mm" as seconds east of UTC.
std::optional<std::int64_t> parseZone(std::string_view zone) {
  if (zone == "Z") return 0;
  if (zone.size() < 5 || (zone[0] != '+' && zone[0] != '-')) return std::nullopt;
  const bool hasColon = zone.size() == 6 && zone[3] == ':';
  if (zone.size() != 5 && !hasColon) return std::nullopt;
  const std::uint32_t hours = readTwo(zone.data() + 1);
  const std::uint32_t minutes = readTwo(zone.data() + (hasColon ? 4 : 3));
  if (hours > 23 || minutes > 59) return std::nullopt;
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
  const std::uint32_t scaledMonth = 2141 * dayOfYear + 197'913;
  const bool isNextYear = dayOfYear >= 306;
  return {100 * century + yearOfCentury + (isNextYear ? 1 : 0) - 400,
          (scaledMonth >> 16) - (isNextYear ? 12 : 0), (scaledMonth & 0xFFFF) / 2141 + 1};
}

}  // namespace

std::optional<Date> parseISO8601(std::string_view text, FractionOfSecond fraction) noexcept {
  // With a fraction, no other form has this length.
  if (text.size() == writtenLength && fraction == FractionOfSecond::required)
    return parseWritten(text.data());
  if (text.size() < 20 || text[16] != ':') return std::nullopt;
  const Characters first(text.data(), dayForm), second(text.data() + 8, timeForm);
  if ((first.wrong() | second.wrong()) != 0) return std::nullopt;
  const auto seconds = secondsOf(first, second, readTwo(text.data() + 17));
  if (!seconds) return std::nullopt;

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
  return dateFromReferenceSeconds(static_cast<double>(*seconds - *zone) + rest);
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

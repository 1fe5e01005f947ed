// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

/// Dates as a programmer writes them who knows the one form that relays write,
/// `YYYY-MM-DDThh:mm:ss.mmmZ`, and needs no other: eight characters at a time.
/// Nothing of the library is in here.
namespace idlewyn::bench {

inline constexpr std::size_t dateLength = 24;

namespace by_hand {

static_assert(std::endian::native == std::endian::little);

inline std::uint64_t load(const char* from) {
  std::uint64_t word = 0;
  std::memcpy(&word, from, sizeof word);
  return word;
}

/// Eight characters, of which `form` says what they are: digits as '0', all others as themselves.
struct Fields {
  std::uint64_t digits, pairs;  // the byte at i of `pairs` is the number of digits i and i + 1
  bool isBad;

  Fields(const char* text, std::string_view form, std::uint64_t others) {
    digits = load(text) ^ load(form.data());
    isBad = (((digits | (digits + 0x0606'0606'0606'0606u)) & 0xF0F0'F0F0'F0F0'F0F0u) |
             (digits & others)) != 0;
    pairs = digits * 10 + (digits >> 8);
  }
  std::uint32_t pair(int at) const { return static_cast<std::uint32_t>(pairs >> (8 * at)) & 0xFF; }
  std::uint32_t digit(int at) const {
    return static_cast<std::uint32_t>(digits >> (8 * at)) & 0xFF;
  }
};

inline bool isDay(std::uint32_t year, std::uint32_t month, std::uint32_t day) {
  static constexpr std::array<std::uint8_t, 16> lengths{0,  31, 28, 31, 30, 31, 30, 31,
                                                        31, 30, 31, 30, 31, 0,  0,  0};
  if (month > 12 || day == 0) return false;
  if (day <= lengths[month]) return true;
  return month == 2 && day == 29 && year % (year % 100 != 0 ? 4 : 400) == 0;
}

inline std::int32_t daysSince2001(std::uint32_t year, std::uint32_t month, std::uint32_t day) {
  static constexpr std::array<std::int16_t, 13> before{0,   0,   31,  59,  90,  120, 151,
                                                       181, 212, 243, 273, 304, 334};
  // A year that has not reached its leap day counts the leap days of the years before it.
  constexpr std::int32_t leapDaysBefore2001 = 2400 / 4 - 2400 / 100 + 2400 / 400;
  const std::int32_t whole = static_cast<std::int32_t>(year) - (month <= 2 ? 1 : 0) + 400;
  const std::int32_t leapDays = whole / 4 - whole / 100 + whole / 400 - leapDaysBefore2001;
  return (static_cast<std::int32_t>(year) - 2001) * 365 + leapDays + before[month] +
         static_cast<std::int32_t>(day) - 1;
}

inline constexpr auto twoDigits = [] {
  std::array<std::array<char, 2>, 100> table{};
  for (std::size_t i = 0; i < 100; ++i)
    table[i] = {static_cast<char>('0' + i / 10), static_cast<char>('0' + i % 10)};
  return table;
}();

inline void put(char* to, std::uint32_t number) { std::memcpy(to, twoDigits[number].data(), 2); }

}  // namespace by_hand

/// Seconds since 2001. Nothing for a text of another form or a day that no calendar has.
inline std::optional<double> dateByHand(std::string_view text) {
  if (text.size() != dateLength) return std::nullopt;
  const by_hand::Fields a(text.data(), "0000-00-", 0xFF00'00FF'0000'0000u);
  const by_hand::Fields b(text.data() + 8, "00T00:00", 0x0000'FF00'00FF'0000u);
  const by_hand::Fields c(text.data() + 16, ":00.000Z", 0xFF00'0000'FF00'00FFu);
  const std::uint32_t year = a.pair(0) * 100 + a.pair(2), month = a.pair(5), day = b.pair(0);
  const std::uint32_t hour = b.pair(3), minute = b.pair(6), second = c.pair(1);
  if (a.isBad || b.isBad || c.isBad || hour > 23 || minute > 59 || second > 59 ||
      !by_hand::isDay(year, month, day))
    return std::nullopt;
  const std::int64_t seconds = by_hand::daysSince2001(year, month, day) * std::int64_t{86'400} +
                               (hour * 60 + minute) * 60 + second;
  return static_cast<double>(seconds) + (c.pair(4) * 10 + c.digit(6)) / 1000.0;
}

/// Writes the 24 characters of a date of the years 1 to 9999 to `to`.
inline void putDateByHand(double secondsSince2001, char* to) {
  // Milliseconds since 0000-03-01.
  constexpr double shift = 730'791 * 86'400'000.0;
  const auto total = static_cast<std::uint64_t>(secondsSince2001 * 1000 + shift + 0.5);
  const auto days = static_cast<std::uint32_t>(total / 86'400'000);
  const auto inDay = static_cast<std::uint32_t>(total % 86'400'000);
  const std::uint32_t era = days / 146'097, dayOfEra = days % 146'097;
  const std::uint32_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
  const std::uint32_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::uint32_t shifted = (5 * dayOfYear + 2) / 153;
  const std::uint32_t month = shifted < 10 ? shifted + 3 : shifted - 9;
  const std::uint32_t year = era * 400 + yearOfEra + (month <= 2 ? 1 : 0);
  const std::uint32_t seconds = inDay / 1000, milliseconds = inDay % 1000;
  std::memcpy(to, "0000-00-00T00:00:00.000Z", dateLength);
  by_hand::put(to, year / 100);
  by_hand::put(to + 2, year % 100);
  by_hand::put(to + 5, month);
  by_hand::put(to + 8, dayOfYear - (153 * shifted + 2) / 5 + 1);
  by_hand::put(to + 11, seconds / 3600);
  by_hand::put(to + 14, seconds / 60 % 60);
  by_hand::put(to + 17, seconds % 60);
  to[20] = static_cast<char>('0' + milliseconds / 100);
  by_hand::put(to + 21, milliseconds % 100);
}

}  // namespace idlewyn::bench

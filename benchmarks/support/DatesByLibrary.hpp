// SPDX-License-Identifier: MIT
#pragma once

#include <cmath>
#include <ctime>
#include <optional>

/// Dates by the C library, which has no fractions of a second: three digits by hand.
namespace idlewyn::bench {

inline constexpr double referenceSince1970 = 978'307'200;

/// Seconds since 2001 of a text of the form `YYYY-MM-DDThh:mm:ss.mmmZ`.
inline std::optional<double> dateByLibrary(const char* text) {
  std::tm fields{};
  const char* rest = strptime(text, "%Y-%m-%dT%H:%M:%S", &fields);
  if (rest == nullptr || rest[0] != '.') return std::nullopt;
  int milliseconds = 0;
  for (int at = 1; at <= 3; ++at) {
    if (rest[at] < '0' || rest[at] > '9') return std::nullopt;
    milliseconds = milliseconds * 10 + (rest[at] - '0');
  }
  if (rest[4] != 'Z' || rest[5] != '\0') return std::nullopt;
  return static_cast<double>(timegm(&fields)) - referenceSince1970 + milliseconds / 1000.0;
}

/// Writes that form and a zero byte to `text`, 25 bytes.
inline void putDateByLibrary(double secondsSince2001, char* text) {
  const double total = std::floor((secondsSince2001 + referenceSince1970) * 1000 + 0.5);
  const auto whole = static_cast<std::time_t>(std::floor(total / 1000));
  const int milliseconds = static_cast<int>(total - static_cast<double>(whole) * 1000);
  std::tm fields{};
  gmtime_r(&whole, &fields);
  std::strftime(text, 20, "%Y-%m-%dT%H:%M:%S", &fields);
  text[19] = '.';
  text[20] = static_cast<char>('0' + milliseconds / 100);
  text[21] = static_cast<char>('0' + milliseconds / 10 % 10);
  text[22] = static_cast<char>('0' + milliseconds % 10);
  text[23] = 'Z';
  text[24] = '\0';
}

}  // namespace idlewyn::bench

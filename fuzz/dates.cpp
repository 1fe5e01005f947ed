// SPDX-License-Identifier: MIT
// The hand-written reading agrees with one over the standard calendar, and what is written from
// any double is read back as the nearest millisecond.
#include <chrono>
#include <cmath>
#include <cstring>
#include <optional>
#include <string>

#include <IdlewynKit/platform/base/ISO8601.hpp>

#include "support/Require.hpp"

using namespace idlewyn;
using platform::FractionOfSecond;

namespace {

/// Whether the text has the form, where 0 stands for a digit and "+" for a sign.
bool hasForm(std::string_view text, std::string_view form) {
  if (text.size() != form.size()) return false;
  for (std::size_t i = 0; i < form.size(); ++i) {
    const bool isDigit = text[i] >= '0' && text[i] <= '9';
    const bool isSign = text[i] == '+' || text[i] == '-';
    if (form[i] == '0' ? !isDigit : form[i] == '+' ? !isSign : text[i] != form[i]) return false;
  }
  return true;
}

int number(std::string_view text, std::size_t at, std::size_t length) {
  return std::stoi(std::string(text.substr(at, length)));
}

std::optional<int> zoneSeconds(std::string_view zone) {
  if (zone == "Z") return 0;
  const bool hasColon = hasForm(zone, "+00:00");
  if (!hasColon && !hasForm(zone, "+0000")) return std::nullopt;
  const int hours = number(zone, 1, 2), minutes = number(zone, hasColon ? 4 : 3, 2);
  if (hours > 23 || minutes > 59) return std::nullopt;
  return (zone[0] == '-' ? -60 : 60) * (hours * 60 + minutes);
}

std::optional<double> reference(std::string_view text, FractionOfSecond fraction) {
  if (text.size() < 19 || !hasForm(text.substr(0, 19), "0000-00-00T00:00:00")) return std::nullopt;
  const std::chrono::year_month_day day{
      std::chrono::year{number(text, 0, 4)},
      std::chrono::month{static_cast<unsigned>(number(text, 5, 2))},
      std::chrono::day{static_cast<unsigned>(number(text, 8, 2))}};
  const int hour = number(text, 11, 2), minute = number(text, 14, 2), second = number(text, 17, 2);
  if (!day.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  std::size_t zone = 19;
  double rest = 0;
  if (fraction == FractionOfSecond::required) {
    zone = std::min(text.find_first_not_of("0123456789", 20), text.size());
    if (zone < 21 || zone > 29 || text[19] != '.') return std::nullopt;
    rest = std::strtod(("0" + std::string(text.substr(19, zone - 19))).c_str(), nullptr);
  }
  const auto east = zoneSeconds(text.substr(zone));
  if (!east) return std::nullopt;
  const std::chrono::sys_seconds midnight = std::chrono::sys_days(day);
  const auto whole = midnight.time_since_epoch().count() + hour * 3600 + minute * 60 + second;
  return static_cast<double>(whole - *east) - platform::referenceDateSince1970 + rest;
}

void checkWriting(double seconds) {
  std::string text;
  platform::appendISO8601(platform::dateFromReferenceSeconds(seconds), text);
  fuzz::require(hasForm(text, "0000-00-00T00:00:00.000Z"));
  const auto back = platform::parseISO8601(text, FractionOfSecond::required);
  fuzz::require(back.has_value());
  if (!(std::abs(seconds) < 6e10)) return;
  const double difference = platform::secondsSinceReferenceDate(*back) - seconds;
  fuzz::require(std::abs(difference) < 0.00051);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto text = fuzz::asText(data, size);
  for (const auto fraction : {FractionOfSecond::required, FractionOfSecond::absent}) {
    const auto date = platform::parseISO8601(text, fraction);
    const auto expected = reference(text, fraction);
    fuzz::require(date.has_value() == expected.has_value());
    if (!date) continue;
    fuzz::require(std::abs(platform::secondsSinceReferenceDate(*date) - *expected) < 1e-5);
    checkWriting(platform::secondsSinceReferenceDate(*date));
  }
  double seconds = 0;
  if (size >= sizeof seconds) std::memcpy(&seconds, data, sizeof seconds);
  checkWriting(seconds);
  checkWriting(std::fmod(seconds, 6e10));
  return 0;
}

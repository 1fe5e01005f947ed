// SPDX-License-Identifier: MIT
// Dates as text against the C library.
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

#include <IdlewynKit/platform/base/ISO8601.hpp>

#include "support/Ratio.hpp"

using namespace idlewyn;
using namespace idlewyn::bench;

namespace {

constexpr std::size_t count = 1'000;

double parseByLibrary(const char* text) {
  std::tm fields{};
  const char* rest = strptime(text, "%Y-%m-%dT%H:%M:%S", &fields);
  return static_cast<double>(timegm(&fields)) + (rest != nullptr ? std::atof(rest) : 0);
}

std::size_t formatByLibrary(double unix, char* text, std::size_t size) {
  const auto whole = static_cast<std::time_t>(unix);
  std::tm fields{};
  gmtime_r(&whole, &fields);
  std::size_t length = std::strftime(text, size, "%Y-%m-%dT%H:%M:%S", &fields);
  const auto milliseconds = static_cast<int>((unix - static_cast<double>(whole)) * 1000 + 0.5);
  length +=
      static_cast<std::size_t>(std::snprintf(text + length, size - length, ".%03dZ", milliseconds));
  return length;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> texts(count);
  std::vector<platform::Date> dates;
  for (std::size_t i = 0; i < count; ++i) {
    const double seconds = 7.9e8 + static_cast<double>(i) * 12'345.678;
    dates.push_back(platform::dateFromReferenceSeconds(seconds));
    platform::appendISO8601(dates.back(), texts[i]);
  }
  Comparisons comparisons(argc, argv);
  comparisons.timesFaster(
      "parse 1000 / strptime", {7.5, 9},
      [&] {
        for (const auto& text : texts) {
          keep(platform::parseISO8601(text, platform::FractionOfSecond::required));
        }
      },
      [&] {
        for (const auto& text : texts)
          keep(parseByLibrary(text.c_str()));
      });
  std::string text;
  char buffer[64];
  comparisons.timesFaster(
      "format 1000 / strftime", {7, 11},
      [&] {
        for (const auto date : dates) {
          text.clear();
          platform::appendISO8601(date, text);
          keep(text);
        }
      },
      [&] {
        for (const auto date : dates) {
          keep(formatByLibrary(platform::secondsSince1970(date), buffer, sizeof buffer));
        }
      });
  return comparisons.finish();
}

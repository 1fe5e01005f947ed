// SPDX-License-Identifier: MIT
// Dates as text against the C library, and against code written by hand for the one form that
// relays write.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <IdlewynKit/platform/base/ISO8601.hpp>

#include "support/DatesByHand.hpp"
#include "support/DatesByLibrary.hpp"
#include "support/Ratio.hpp"

using namespace idlewyn;
using namespace idlewyn::bench;
using platform::FractionOfSecond;

namespace {

constexpr std::size_t count = 1'000;

struct Samples {
  Samples() : texts(count) {
    for (std::size_t i = 0; i < count; ++i) {
      dates.push_back(
          platform::dateFromReferenceSeconds(7.9e8 + static_cast<double>(i) * 12'345.678));
      platform::appendISO8601(dates.back(), texts[i]);
    }
  }
  std::vector<platform::Date> dates;
  std::vector<std::string> texts;
};

/// All ways must give the same before they are compared.
void requireAgreement(const Samples& samples) {
  for (std::size_t i = 0; i < count; ++i) {
    const double seconds = platform::secondsSinceReferenceDate(samples.dates[i]);
    const std::string& text = samples.texts[i];
    char byHand[dateLength], byLibrary[dateLength + 1];
    putDateByHand(seconds, byHand);
    putDateByLibrary(seconds, byLibrary);
    const auto ours = platform::parseISO8601(text, FractionOfSecond::required);
    if (ours && dateByHand(text) == platform::secondsSinceReferenceDate(*ours) &&
        dateByLibrary(text.c_str()) == dateByHand(text) &&
        text == std::string_view(byHand, dateLength) && text == byLibrary)
      continue;
    std::printf("the ways to read and write dates do not agree on %s\n", text.c_str());
    std::exit(2);
  }
}

void compareParsing(Comparisons& comparisons, const std::vector<std::string>& texts) {
  const auto ours = [&] {
    for (const auto& text : texts)
      keep(platform::parseISO8601(text, FractionOfSecond::required));
  };
  comparisons.timesFaster("parse 1000 / strptime", {5, 8}, ours, [&] {
    for (const auto& text : texts)
      keep(dateByLibrary(text.c_str()));
  });
  comparisons.atMost("parse 1000 / by hand", {1.4, 1.1}, ours, [&] {
    for (const auto& text : texts)
      keep(dateByHand(text));
  });
}

/// Each text goes into the same output, as a document's dates do.
void compareFormatting(Comparisons& comparisons, const std::vector<platform::Date>& dates) {
  std::string text;
  text.reserve(count * dateLength);
  const auto ours = [&] {
    text.clear();
    for (const auto date : dates)
      platform::appendISO8601(date, text);
    keep(text);
  };
  std::vector<char> room(count * dateLength + 1);
  const auto theirs = [&](auto put) {
    return [&dates, &room, put] {
      char* to = room.data();
      for (const auto date : dates) {
        put(platform::secondsSinceReferenceDate(date), to);
        to += dateLength;
      }
      keep(room);
    };
  };
  comparisons.timesFaster("format 1000 / strftime", {4, 7}, ours, theirs(putDateByLibrary));
  comparisons.atMost("format 1000 / by hand", {1.4, 1.1}, ours, theirs(putDateByHand));
}

}  // namespace

int main(int argc, char** argv) {
  const Samples samples;
  requireAgreement(samples);
  Comparisons comparisons(argc, argv);
  compareParsing(comparisons, samples.texts);
  compareFormatting(comparisons, samples.dates);
  return comparisons.finish();
}

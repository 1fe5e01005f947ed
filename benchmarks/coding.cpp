// SPDX-License-Identifier: MIT
// Reading and writing session lists through the public coders, against code written by hand
// for these records and against a generic library.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <limits>

#include <IdlewynKit/model/JSONCoding.hpp>

#include "support/Baselines.hpp"
#include "support/Ratio.hpp"
#include "support/SampleSessions.hpp"

using namespace idlewyn;
using namespace idlewyn::bench;
using platform::Data;

namespace {

using Sessions = std::vector<AgentSession>;

/// The document with the spare room that received bodies have.
Data document(const Sessions& sessions) {
  Data data = JSONEncoder::relay().encode(sessions);
  data.storage.reserve(data.size() + 64);
  return data;
}

/// All ways must give the same before they are compared.
void requireAgreement(const Sessions& sessions, const Data& json) {
  const auto decodeOurs = [](std::string_view text) {
    return JSONDecoder::relay().decode<Sessions>(text);
  };
  const auto plain = decodeByHand(json.storage);
  const bool agrees = decodeOurs(json.text()) == sessions &&
                      encodeByHand(sessions, json.size()) == json.storage && plain &&
                      decodeOurs(encodeGenerically(*plain)) == sessions &&
                      decodeOurs(encodeGenerically(decodeGenerically(json.storage))) == sessions;
  if (agrees) return;
  std::puts("the ways to code sessions do not agree");
  std::exit(2);
}

void compareDecoding(Comparisons& comparisons, std::size_t count, bool hasTargets) {
  const Sessions sessions = sampleSessions(count);
  const Data json = document(sessions);
  requireAgreement(sessions, json);
  const auto ours = [&] { keep(JSONDecoder::relay().decode<Sessions>(json)); };
  const std::string name = "decode " + std::to_string(count);
  const double free = std::numeric_limits<double>::infinity();  // only shown
  comparisons.atMost(name + " / by hand", hasTargets ? Target(1.4, 1.05) : free, ours,
                     [&] { keep(decodeByHand(json.storage)); });
  // Half of what is above the parse is the allocation of texts: by hand it takes as long.
  comparisons.atMost(name + " / bare parse", hasTargets ? Target(4.6, 3.2) : free, ours,
                     [&] { keep(parseOnly(json.storage)); });
  comparisons.timesFaster(name + " / generic library", hasTargets ? Target(8, 12) : 0, ours,
                          [&] { keep(decodeGenerically(json.storage)); });
}

void compareEncoding(Comparisons& comparisons, std::size_t count) {
  const Sessions sessions = sampleSessions(count);
  const Data json = document(sessions);
  requireAgreement(sessions, json);
  const auto plain = decodeGenerically(json.storage);
  const auto ours = [&] { keep(JSONEncoder::relay().encode(sessions)); };
  const std::string name = "encode " + std::to_string(count);
  comparisons.atMost(name + " / by hand", Target(2.3, 1.05), ours,
                     [&] { keep(encodeByHand(sessions, json.size())); });
  comparisons.timesFaster(name + " / generic library", Target(11, 17), ours,
                          [&] { keep(encodeGenerically(plain)); });
}

/// A prompt whose detail is a file of 200 kB.
void compareLongTexts(Comparisons& comparisons) {
  Sessions sessions = sampleSessions(1);
  std::string detail;
  while (detail.size() < 200'000)
    detail += "A line of source that a tool is to write into a file; ";
  sessions[0].permission.emplace("prompt", "Write", detail, sessions[0].startedAt, std::nullopt);
  const Data json = document(sessions);
  requireAgreement(sessions, json);
  const auto encode = [&] { keep(JSONEncoder::relay().encode(sessions)); };
  comparisons.atMost("encode 200 kB of text / by hand", Target(20, 1.5), encode,
                     [&] { keep(encodeByHand(sessions, json.size())); });
  comparisons.atMost("encode 200 kB of text / decode them", Target(20, 1), encode,
                     [&] { keep(JSONDecoder::relay().decode<Sessions>(json)); });
}

long peakKilobytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

/// The memory that decoding adds at its peak, the records included, in sizes of the document.
/// Measured in a process of its own, whose peak is not yet that of an earlier run.
double memoryAdded(std::size_t count) {
  int ends[2];
  if (pipe(ends) != 0) return -1;
  const pid_t child = fork();
  if (child == 0) {
    const Data json = document(sampleSessions(count));
    const std::string ballast(1, 'x');
    const long before = peakKilobytes();
    const auto sessions = JSONDecoder::relay().decode<Sessions>(json);
    const double added = static_cast<double>(peakKilobytes() - before) * 1024;
    const double ratio = sessions.size() == count ? added / static_cast<double>(json.size()) : -1;
    const bool isSent = write(ends[1], &ratio, sizeof ratio) == sizeof ratio;
    _exit(isSent ? 0 : 1);
  }
  double ratio = -1;
  const bool isReceived = read(ends[0], &ratio, sizeof ratio) == sizeof ratio;
  waitpid(child, nullptr, 0);
  close(ends[0]);
  close(ends[1]);
  return isReceived ? ratio : -1;
}

}  // namespace

int main(int argc, char** argv) {
  const double memory = memoryAdded(100'000);
  Comparisons comparisons(argc, argv);
  compareDecoding(comparisons, 10, true);
  compareDecoding(comparisons, 1'000, true);
  compareDecoding(comparisons, 100'000, false);
  compareEncoding(comparisons, 1'000);
  compareLongTexts(comparisons);
  comparisons.value("memory added by decoding 100000 / document", 4, memory);
  return comparisons.finish();
}

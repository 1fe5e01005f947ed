// SPDX-License-Identifier: MIT
// Snapshots of many relays against libcurl alone, warm and cold, and what they hold meanwhile.
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <IdlewynKit/model/JSONCoding.hpp>
#include <tests/process/Nginx.hpp>

#include "network/ChildProcess.hpp"
#include "network/Interleaved.hpp"
#include "network/NodeFetch.hpp"
#include "network/Sides.hpp"
#include "support/Ratio.hpp"
#include "support/SampleSessions.hpp"

using namespace idlewyn;
using namespace idlewyn::bench;
using idlewyn::testing::Nginx;
using idlewyn::testing::NginxSite;

namespace {

/// Against libcurl alone, which only brings the bytes, and with a decoding of what it brought.
struct Targets {
  std::optional<Target> raw, decoding;
};

// Both share two processors with the server, where a thread that waits for another is not free.
const Targets shown;
const Targets by100{Target(3, 1.5), Target(1.9, 1.2)};
const Targets by1000{Target(3, 1.5), Target(2, 1.2)};

struct Protocol {
  const char* name;
  Relay relay;
};

/// An answer of about four kilobytes, all of one agent.
void writeAnswer(const std::filesystem::path& folder) {
  std::vector<AgentSession> sessions = sampleSessions(10);
  for (AgentSession& session : sessions)
    session.provider = AgentProvider::claude;
  std::filesystem::create_directories(folder / "v1");
  std::ofstream(folder / "v1/sessions")
      << "{\"sessions\":" << JSONEncoder::relay().encode(sessions).text() << '}';
}

void print(const std::string& name, const Interleaved& result) {
  std::printf("%-42s %8.3f %8.3f-%-8.3f %8s %8s %10.2f %10.2f  ms\n", name.c_str(), result.ratio,
              result.low, result.high, "", "", result.subject, result.baseline);
}

/// Prints the ratio and, where there is a target, holds it to that.
void report(Comparisons& comparisons, const std::string& name, std::optional<Target> target,
            const Interleaved& result) {
  print(name, result);
  if (target) comparisons.value("  median", *target, result.ratio);
}

class Network {
 public:
  Network(Comparisons& comparisons, int rounds) : comparisons_(comparisons), rounds_(rounds) {}

  void warm(const Protocol& protocol, std::size_t count, const Targets& targets) {
    const int times = count >= 100 ? 1 : static_cast<int>(100 / count);
    const auto sample = [=](const Fetch& fetch) {
      return [=] { return elapsed(times, [&] { fetch(count); }); };
    };
    const Fetch library = makeSide("library", protocol.relay);
    for (const char* side : {"raw", "decoding"}) {
      const Fetch raw = makeSide(side, protocol.relay);
      for (int i = 0; i < 3; ++i) {
        library(count);
        raw(count);
      }
      const auto hold = side == std::string_view("raw") ? targets.raw : targets.decoding;
      report(comparisons_, title("warm", protocol, count, side), hold,
             interleave(rounds_, sample(library), sample(raw)));
    }
  }

  void againstNode(const Protocol& protocol, std::size_t count) {
    const Fetch library = makeSide("library", protocol.relay);
    NodeFetch node(sessionsAddress(protocol.relay.address));
    for (int i = 0; i < 10; ++i) {
      library(count);
      node.fetch(count);
    }
    const auto subject = [&] { return elapsed(1, [&] { library(count); }); };
    print(title("warm", protocol, count, "node"),
          interleave(rounds_, subject, [&] { return node.fetch(count); }));
  }

  void cold(const Protocol& protocol, std::size_t count, std::optional<Target> target) {
    const auto sample = [=](const char* side) {
      return [=] { return measureInChild(side, protocol.relay, count).coldMilliseconds; };
    };
    report(comparisons_, title("cold", protocol, count, "raw"), target,
           interleave(std::max(rounds_ / 3, 3), sample("library"), sample("raw")));
  }

  void held(const Protocol& protocol, std::size_t count) {
    const Fresh raw = measureInChild("raw", protocol.relay, count);
    const Fresh library = measureInChild("library", protocol.relay, count);
    std::printf("%s %zu: raw %.1f MB, %d threads\n", protocol.name, count, raw.peakMegabytes,
                raw.threads);
    // A third of it is the sessions themselves, which raw transfers don't make.
    comparisons_.value(title("peak MB,", protocol, count, "library"), Target(150, 100),
                       library.peakMegabytes);
    comparisons_.value(title("threads,", protocol, count, "library"), 2, library.threads);
  }

 private:
  static std::string title(const char* what, const Protocol& protocol, std::size_t count,
                           const char* side) {
    return std::string(what) + " " + protocol.name + " " + std::to_string(count) + " / " + side;
  }

  Comparisons& comparisons_;
  const int rounds_;
};

void raiseFileLimit() {
  rlimit files{};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
}

}  // namespace

int main(int argc, char** argv) {
  raiseFileLimit();
  if (isChild(argc, argv)) return runAsChild(argv);
  const bool isQuick = std::find(argv, argv + argc, std::string_view("--quick")) != argv + argc;

  const testing::TemporaryFolder files;
  writeAnswer(files.path());
  const std::string serving =
      "access_log off; root " + files.path().string() + "; default_type application/json;";
  using Site = NginxSite::Protocol;
  const Nginx nginx({NginxSite(Site::plain, serving, true),
                     NginxSite(Site::http1OverTLS, serving, true),
                     NginxSite(Site::http2, serving, true)});
  const std::vector<Protocol> protocols{
      {"http", {nginx.address(0), ""}},
      {"TLS", {nginx.address(1), nginx.fingerprint(1)}},
      {"HTTP/2", {nginx.address(2), nginx.fingerprint(2)}},
  };

  const bool hasNode = NodeFetch::isThere();
  if (!hasNode) std::puts("no node here: not compared with its fetch");
  Comparisons comparisons(argc, argv);
  Network network(comparisons, isQuick ? 9 : 21);
  for (const Protocol& protocol : protocols) {
    for (const std::size_t count : {1, 2, 10})
      network.warm(protocol, count, shown);
    network.warm(protocol, 100, by100);
    network.warm(protocol, 500, by100);
    network.warm(protocol, 1'000, by1000);
    for (const std::size_t count : {1, 10, 100, 1'000})            // of one relay
      if (hasNode && protocol.name != std::string_view("HTTP/2"))  // which its fetch can't speak
        network.againstNode(protocol, count);
    for (const std::size_t count : {1, 2, 10, 100, 500})
      network.cold(protocol, count, std::nullopt);
    network.cold(protocol, 1'000, Target(2.5, 1.25));
    network.held(protocol, 1'000);
    // Over TLS, two processors shake no 10,000 hands in the ten seconds that a fetch has.
    if (protocol.relay.pin.empty()) network.cold(protocol, 10'000, std::nullopt);
  }
  return comparisons.finish();
}

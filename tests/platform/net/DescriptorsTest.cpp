// SPDX-License-Identifier: MIT
// What callers are told when no descriptor is left. UndefinedBehaviorSanitizer itself needs some
// (it reads memory through a pipe), so builds with it leave this program out.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "tests/platform/net/NetSupport.hpp"

namespace idlewyn::testing {
namespace {

/// Leaves the process so many descriptors to open (low numbers are handed out first), or all.
void leaveDescriptors(std::optional<rlim_t> count) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const int next = fcntl(0, F_DUPFD_CLOEXEC, 0);
  if (next >= 0) close(next);
  limit.rlim_cur = count ? static_cast<rlim_t>(next) + *count : limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

void expect(const std::string& outcome, std::string_view expected, const std::string& what) {
  if (outcome == expected) return;
  std::fprintf(stderr, "%s: %s\n", what.c_str(), outcome.c_str());
  std::_Exit(1);
}

std::string fetchWith(rlim_t descriptors, const std::shared_ptr<URLSession>& session,
                      const std::string& address) {
  leaveDescriptors(descriptors);
  const URLSession::Outcome outcome = exchange(session, requestFor(address));
  leaveDescriptors(std::nullopt);
  const auto* error = std::get_if<URLError>(&outcome);
  const bool isUnreached = error != nullptr && error->code == URLErrorCode::cannotConnectToHost;
  const bool namesThem = isUnreached && error->reason.find("file descriptors") != std::string::npos;
  return namesThem ? "no descriptors" : describe(outcome);
}

[[noreturn]] void runOutOfDescriptors(rlim_t count, bool isDelegated) {
  alarm(30);
  static RawServer server{RawServer::TLS()};
  const std::string refused = "https://127.0.0.1:" + std::to_string(refusedPort());
  const auto early = isDelegated ? trustingSession() : URLSession::ephemeral();
  const std::string first = fetchWith(count, early, refused);
  // The loop needs two. How many a session and a connection need is libcurl's affair.
  if (count < 3 || first != "-1004") expect(first, "no descriptors", "the first request");
  const auto session = trustingSession();
  expect(fetch(session, server.url("/")), "200 ok", "once there are descriptors");
  expect(fetchWith(0, session, server.url("/")), "200 ok", "over the kept connection");
  expect(fetchWith(0, session, refused), "no descriptors", "another connection");
  expect(fetchWith(0, session, "https://relay.invalid/"), "-1003", "a name to look up");
  expect(fetchWith(0, trustingSession(), server.url("/")), "no descriptors", "another session");
  // Of two descriptors the connection takes one on either side, and the authorities can't be read.
  const auto undelegated = URLSession::ephemeral();
  expect(fetch(undelegated, refused), "-1004", "nobody listens");
  // Under load one may come free meanwhile, and the handshake then ends as in better times.
  std::string midst = "-1202";
  for (int attempt = 0; attempt < 20 && midst == "-1202"; ++attempt) {
    midst = fetchWith(2, undelegated, server.url("/"));
  }
  expect(midst, "no descriptors", "in the midst of a handshake");
  expect(fetch(undelegated, server.url("/")), "-1202", "the same handshake in better times");
  std::_Exit(0);
}

TEST(URLSessionDeathTest, BlamesNoCertificateWhenDescriptorsRunOut) {
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  for (rlim_t count = 0; count < 6; ++count) {
    EXPECT_EXIT(runOutOfDescriptors(count, count % 2 == 0), ::testing::ExitedWithCode(0), "")
        << count;
  }
}

}  // namespace
}  // namespace idlewyn::testing

// SPDX-License-Identifier: MIT
// What callers are told when no descriptor or no memory is left. UndefinedBehaviorSanitizer itself
// needs descriptors (it reads memory through a pipe), so builds with it leave this program out.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "tests/platform/net/NetSupport.hpp"

namespace {
std::atomic<std::size_t> largestAllocation = SIZE_MAX;
}

void* operator new(std::size_t size) {
  void* const memory = size > largestAllocation ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

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
  std::string outcome = fetch(session, address);
  leaveDescriptors(std::nullopt);
  return outcome;
}

[[noreturn]] void runOutOfDescriptors(rlim_t count, bool isDelegated) {
  alarm(30);
  static RawServer server{RawServer::TLS()};
  const std::string refused = "https://127.0.0.1:" + std::to_string(refusedPort());
  const auto early = isDelegated ? trustingSession() : URLSession::ephemeral();
  expect(fetchWith(count, early, refused), "-1004", "the first request");
  const auto session = trustingSession();
  expect(fetch(session, server.url("/")), "200 ok", "once there are descriptors");
  expect(fetchWith(0, session, server.url("/")), "200 ok", "over the kept connection");
  expect(fetchWith(0, session, refused), "-1004", "another connection");
  expect(fetchWith(0, session, "https://relay.invalid/"), "-1003", "a name to look up");
  expect(fetchWith(0, trustingSession(), server.url("/")), "-1004", "another session");
  // Of two descriptors the connection takes one on either side, and the authorities can't be read.
  const auto undelegated = URLSession::ephemeral();
  expect(fetch(undelegated, refused), "-1004", "nobody listens");
  // Under load one may come free meanwhile, and the handshake then ends as in better times.
  std::string midst = "-1202";
  for (int attempt = 0; attempt < 20 && midst == "-1202"; ++attempt) {
    midst = fetchWith(2, undelegated, server.url("/"));
  }
  expect(midst, "-1004", "in the midst of a handshake");
  expect(fetch(undelegated, server.url("/")), "-1202", "the same handshake in better times");
  std::_Exit(0);
}

TEST(URLSessionDeathTest, BlamesNoCertificateWhenDescriptorsRunOut) {
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  // The loop opens two, a session two and a connection one.
  for (rlim_t count = 0; count < 6; ++count) {
    EXPECT_EXIT(runOutOfDescriptors(count, count % 2 == 0), ::testing::ExitedWithCode(0), "")
        << count;
  }
}

TEST(URLSession, EndsExchangesWhoseAnswersFindNoMemory) {
  const std::string body(std::size_t{6} << 20, 'x'), field(std::size_t{50} << 10, 'x');
  const std::tuple<const char*, std::size_t, std::string, const char*> rows[] = {
      {"the content", std::size_t{4} << 20, RawServer::answer(body), "-1103"},
      {"a field of the head", std::size_t{40} << 10,
       RawServer::answer("ok", "200 OK", "X-Filler: " + field + "\r\n"), "-1011"}};
  for (const auto& [why, largest, answer, outcome] : rows) {
    RawServer server(RawServer::answering(answer));
    const auto session = URLSession::ephemeral();
    largestAllocation = largest;
    const std::string found = fetch(session, server.url("/"));
    largestAllocation = SIZE_MAX;
    EXPECT_EQ(found, outcome) << why;
  }
}

}  // namespace
}  // namespace idlewyn::testing

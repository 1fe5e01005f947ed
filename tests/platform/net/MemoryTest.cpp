// SPDX-License-Identifier: MIT
// What callers are told when memory is short. Sanitizers have allocators of their own, so builds
// with them leave this program out.
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <set>

#include "tests/platform/net/NetSupport.hpp"
#include "tests/support/HTTP2Frames.hpp"

namespace {

std::atomic<std::size_t> largestAllocation = SIZE_MAX;
std::atomic<long> allocations = 0;  // of the I/O thread
std::atomic<long> failing = 0;      // the number of the one that fails; none when 0

bool isOnLoop() {
  thread_local char name[16] = "";
  if (name[0] == 0) pthread_getname_np(pthread_self(), name, sizeof name);
  return std::string_view(name) == "idlewyn-io";
}

bool mayAllocate(std::size_t size) {
  if (failing != 0 && isOnLoop() && ++allocations == failing) return false;
  return size <= largestAllocation;
}

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = mayAllocate(size) ? std::malloc(size) : nullptr;
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace idlewyn::testing {
namespace {

constexpr const char* noResources = "-1004";

TEST(URLSession, EndsExchangesWhoseAnswersFindNoMemory) {
  const std::string body(std::size_t{6} << 20, 'x'), field(std::size_t{50} << 10, 'x');
  const std::tuple<const char*, std::size_t, std::string> rows[] = {
      {"the content", std::size_t{4} << 20, RawServer::answer(body)},
      {"a field of the head", std::size_t{40} << 10,
       RawServer::answer("ok", "200 OK", "X-Filler: " + field + "\r\n")}};
  for (const auto& [why, largest, answer] : rows) {
    RawServer server(RawServer::answering(answer));
    const auto session = URLSession::ephemeral();
    largestAllocation = largest;
    const std::string found = fetch(session, server.url("/"));
    largestAllocation = SIZE_MAX;
    EXPECT_EQ(found, noResources) << why;
  }
}

/// Fails each allocation that the I/O thread makes for a fetch, one a fetch.
void failEach(const RawServer& server, bool isKept) {
  std::set<std::string> outcomes;
  const auto kept = trustingSession();
  ASSERT_TRUE(!isKept || fetch(kept, server.url("/")) == "200 ok");
  for (long number = 1; number < 2000; ++number) {
    const auto session = isKept ? kept : trustingSession();
    allocations = 0;
    failing = number;
    const std::string outcome = fetch(session, server.url("/"));
    failing = 0;
    EXPECT_TRUE(outcome == "200 ok" || outcome == noResources) << number << ": " << outcome;
    EXPECT_EQ(fetch(session, server.url("/")), "200 ok") << number << ": the next one";
    outcomes.insert(outcome);
    if (allocations < number) {
      EXPECT_GT(number, 5);
      EXPECT_TRUE(isKept || outcomes.contains(noResources));
      return;
    }
  }
  ADD_FAILURE() << "there is no end of allocations";
}

TEST(URLSession, SurvivesEachFailureOfAnAllocationOfItsThread) {
  const RawServer::Script http2 = [](RawServer::Connection& connection) {
    http2::begin(connection);
    while (const char stream = http2::readStream(connection))
      connection.write(http2::ok(stream));
  };
  RawServer plain, secure{RawServer::TLS()}, shared(http2, RawServer::TLS{.choosesHTTP2 = true});
  for (const RawServer* server : {&plain, &secure, &shared}) {
    for (const bool isKept : {false, true}) {
      SCOPED_TRACE(server->url("/") + (isKept ? " kept" : ""));
      failEach(*server, isKept);
    }
  }
}

}  // namespace
}  // namespace idlewyn::testing

// SPDX-License-Identifier: MIT
// What callers are told of answers for which there is no memory. Sanitizers have allocators of
// their own, so builds with them leave this program out.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
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

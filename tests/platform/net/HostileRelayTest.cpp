// SPDX-License-Identifier: MIT
// Relays that try to hold the I/O thread: others must be served meanwhile, and deadlines kept.
#include <gtest/gtest.h>

#include <fstream>
#include <future>
#include <iterator>

#include <boost/asio/use_future.hpp>

#include "tests/platform/net/NetSupport.hpp"

namespace idlewyn::testing {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

std::string fileText(const std::string& name) {
  std::ifstream file(IDLEWYN_TEST_DATA "/net/" + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(HostileRelay, CannotMakeUsDecodeLayersOfCodings) {
  const std::string bomb = fileText("empty-blocks.deflate.br");
  ASSERT_FALSE(bomb.empty());
  const auto coded = [&](const char* fields) {
    return RawServer::answering(RawServer::answer(bomb, "401 Unauthorized", fields));
  };
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"in one field", "Content-Encoding: deflate, br\r\n", "401 "},
      {"in two fields", "content-encoding: deflate\r\nContent-Encoding: br\r\n", "401 "},
      {"on a folded line", "Content-Encoding: deflate\r\n ,br\r\n", "401 "},
      {"of the transfer", "Transfer-Encoding: br\r\nContent-Encoding: deflate\r\n", "401 "}};
  RawServer good;
  const auto session = URLSession::ephemeral();
  ASSERT_EQ(fetch(session, good.url("/")), "200 ok");
  for (const auto& [why, fields, outcome] : rows) {
    SCOPED_TRACE(why);
    RawServer hostile(coded(fields));
    boost::asio::thread_pool pool(1);
    auto held =
        co_spawn(pool, session->exchange(requestFor(hostile.url("/"))), boost::asio::use_future);
    ASSERT_TRUE(hostile.waitForRequests(1));
    const auto begin = Clock::now();
    EXPECT_EQ(fetch(session, good.url("/")), "200 ok");
    EXPECT_EQ(describe(held.get()), outcome) << "the status counts, whatever the content";
    EXPECT_LT(Clock::now() - begin, 1s);
  }
  RawServer plain(RawServer::answering(
      RawServer::answer("ok", "200 OK", "Content-Encoding: identity, identity\r\n")));
  EXPECT_EQ(fetch(session, plain.url("/")), "200 ok") << "identity is no coding";
}

}  // namespace
}  // namespace idlewyn::testing

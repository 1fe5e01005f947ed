// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>

#include "tests/push/GatewaySupport.hpp"

namespace idlewyn::testing {
namespace {

namespace asio = boost::asio;
using Key = std::optional<std::string>;

TEST(PushGatewayClient, OverlappingCallsBothSendAndTheLastOneIsRemembered) {
  std::atomic<bool> isFastOver = false;
  RawServer server([&](RawServer::Connection& connection) {
    connection.readRequest();
    const bool isSlow = connection.number() == 0;
    // An answer only when both calls have missed, the slow one's when the other has ended.
    EXPECT_TRUE(waitUntil([&] { return isSlow ? isFastOver.load() : connection.number() == 1; }));
    connection.write(keyAnswer(isSlow ? "slow" : "fast"));
  });
  const auto client = clientOf(server.url("/"));
  std::vector<std::string> ended;
  asio::io_context context;
  for (int i = 0; i < 2; ++i) {
    asio::co_spawn(context, client->pushKey("00", "e"), [&](std::exception_ptr error, Key key) {
      ended.push_back(outcomeOf(error, key));
      isFastOver = true;
    });
  }
  context.run();
  EXPECT_EQ(ended, (std::vector<std::string>{"key fast", "key slow"}));
  EXPECT_EQ(server.requests().size(), 2u);
  EXPECT_EQ(ask(*client, "00", "e"), "key slow");
  EXPECT_EQ(server.requests().size(), 2u);
}

// The token in a request's body.
std::string tokenIn(const std::string& request) {
  const std::size_t begin = request.find("\"token\":\"") + 9;
  return request.substr(begin, request.find('"', begin) - begin);
}

TEST(PushGatewayClient, GivesEachOfManyThreadsItsOwnKey) {
  RawServer server([](RawServer::Connection& connection) {
    for (std::string request; !(request = connection.readRequest()).empty();)
      connection.write(keyAnswer(tokenIn(request)));
  });
  const auto client = clientOf(server.url("/"));
  std::atomic<int> right = 0;
  asio::thread_pool pool(4);
  for (int i = 0; i < 200; ++i) {
    const std::string token = "t" + std::to_string(i % 7);
    asio::co_spawn(pool, client->pushKey(token, "e"),
                   [&, token](std::exception_ptr error, Key key) {
                     right += outcomeOf(error, key) == "key " + token;
                   });
  }
  pool.join();
  EXPECT_EQ(right, 200);
  const std::size_t sent = server.requests().size();
  for (int i = 0; i < 7; ++i)
    EXPECT_EQ(ask(*client, "t" + std::to_string(i), "e"), "key t" + std::to_string(i));
  EXPECT_EQ(server.requests().size(), sent);
}

// The types of cancellation, and every moment of an exchange, are the session's own tests.
TEST(PushGatewayClient, ACancelledCallEndsAtOnceAndIsNotRemembered) {
  std::atomic<bool> hangs = true;
  RawServer server([&](RawServer::Connection& connection) {
    connection.readRequest();
    if (hangs) connection.hang();
    connection.write(keyAnswer("k"));
  });
  const auto client = clientOf(server.url("/"));
  asio::io_context context;
  asio::cancellation_signal signal;
  std::string outcome;
  asio::co_spawn(context, client->pushKey("00", "e"),
                 asio::bind_cancellation_slot(
                     signal.slot(), [&](auto error, Key key) { outcome = outcomeOf(error, key); }));
  while (server.requests().empty())
    context.run_for(std::chrono::milliseconds(1));
  signal.emit(asio::cancellation_type::terminal);
  context.run();
  EXPECT_EQ(outcome, "-999");
  hangs = false;
  EXPECT_EQ(ask(*client, "00", "e"), "key k");
  EXPECT_EQ(server.requests().size(), 2u);
}

TEST(PushGatewayClient, ACallMayOutliveItsClient) {
  std::atomic<bool> isGone = false;
  RawServer server([&](RawServer::Connection& connection) {
    connection.readRequest();
    EXPECT_TRUE(waitUntil([&] { return isGone.load(); }));
    connection.write(keyAnswer("k"));
  });
  auto client = clientOf(server.url("/"));
  std::string outcome;
  asio::io_context context;
  asio::co_spawn(context, client->pushKey("00", "e"),
                 [&](std::exception_ptr error, Key key) { outcome = outcomeOf(error, key); });
  while (server.requests().empty())
    context.run_for(std::chrono::milliseconds(1));
  client.reset();
  isGone = true;
  context.run();
  EXPECT_EQ(outcome, "key k");
}

}  // namespace
}  // namespace idlewyn::testing

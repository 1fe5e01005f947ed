// SPDX-License-Identifier: MIT
// Many exchanges at once, and everything that may be gone before an exchange ends.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <csignal>
#include <future>
#include <thread>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>

#include "tests/platform/net/NetSupport.hpp"

namespace idlewyn::testing {
namespace {

namespace asio = boost::asio;
using namespace std::chrono_literals;
using Connection = RawServer::Connection;

const RawServer::Script ok = RawServer::answering(RawServer::answer("ok"));
const RawServer::Script hanging = [](Connection& connection) { connection.hang(); };

TEST(URLSession, KeepsTheConnectionsOfABurst) {
  constexpr int size = 60;
  std::atomic<int> arrived = 0;
  RawServer server([&](Connection& connection) {
    while (!connection.readRequest().empty()) {
      const int burst = (arrived++ / size + 1) * size;
      waitUntil([&] { return arrived >= burst; });
      connection.write(RawServer::answer("ok"));
    }
  });
  const auto session = URLSession::ephemeral();
  for (int round = 0; round < 4; ++round)
    ASSERT_EQ(answersOf(session, requestFor(server.url("/")), size), size);
  EXPECT_EQ(server.connectionCount(), size);
}

TEST(URLSession, AnOriginThatHangsHoldsUpNoOther) {
  RawServer hung(hanging);
  RawServer server(ok);
  const auto session = URLSession::ephemeral();
  asio::io_context context;
  int timeouts = 0;
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < 150; ++i) {
    URLRequest request = requestFor(hung.url("/"));
    request.timeoutInterval = 1s;  // which waiting for one's turn counts towards
    const auto ended = [&](std::exception_ptr, const URLSession::Outcome& outcome) {
      if (describe(outcome) == "-1001") ++timeouts;
    };
    co_spawn(context, session->exchange(std::move(request)), ended);
  }
  std::string other;
  co_spawn(
      context, session->exchange(requestFor(server.url("/"))),
      [&](std::exception_ptr, const URLSession::Outcome& outcome) { other = describe(outcome); });
  while (other.empty())
    context.run_one();
  EXPECT_EQ(other, "200 ok");
  EXPECT_EQ(timeouts, 0) << "the other origin's answer came first";
  context.run();
  EXPECT_EQ(timeouts, 150);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 3s);
}

TEST(URLSession, FinishesWhatIsUnderWayWhenInvalidated) {
  std::promise<void> mayAnswer;
  std::atomic<bool> isClosed = false;
  RawServer server(
      [&, future = mayAnswer.get_future().share()](Connection& connection) {
        connection.readRequest();
        future.wait();
        connection.write(RawServer::answer("ok"));
        connection.hang();
        isClosed = true;
      },
      RawServer::TLS(TestCertificate()));
  auto delegate = std::make_shared<ScriptedDelegate>(accept);
  const std::weak_ptr<ScriptedDelegate> weak = delegate;
  const auto session = URLSession::ephemeral(std::move(delegate));
  asio::thread_pool pool(1);
  auto first = co_spawn(pool, session->exchange(requestFor(server.url("/"))), asio::use_future);
  ASSERT_TRUE(server.waitForRequests(1));
  session->finishTasksAndInvalidate();
  session->finishTasksAndInvalidate();
  const auto refused = exchange(session, requestFor(server.url("/")));
  EXPECT_EQ(describe(refused), "-999");
  EXPECT_FALSE(weak.expired());
  mayAnswer.set_value();
  EXPECT_EQ(describe(first.get()), "200 ok");
  EXPECT_TRUE(waitUntil([&] { return isClosed && weak.expired(); }));
  EXPECT_EQ(server.connectionCount(), 1);
}

TEST(URLSession, LivesUntilItsExchangesHaveEndedAndTheSharedOneForEver) {
  RawServer server(ok, RawServer::TLS(TestCertificate()));
  auto delegate = std::make_shared<ScriptedDelegate>(accept);
  const std::weak_ptr<ScriptedDelegate> weak = delegate;
  const auto request = requestFor(server.url("/"));
  EXPECT_EQ(describe(wait(URLSession::ephemeral(std::move(delegate))->exchange(request))),
            "200 ok");
  EXPECT_TRUE(waitUntil([&] { return weak.expired(); }));
  URLSession::shared()->finishTasksAndInvalidate();
  RawServer plain(ok);
  EXPECT_EQ(fetch(URLSession::shared(), plain.url("/")), "200 ok");
}

TEST(URLSession, SurvivesTheCallersContext) {
  std::atomic<int> ended = 0;
  RawServer hung([&](Connection& connection) {
    connection.hang();
    ++ended;
  });
  RawServer server(ok);
  const auto session = URLSession::ephemeral();
  for (int round = 0; round < 60; ++round) {
    asio::io_context context;
    for (int i = 0; i < 4; ++i) {
      const std::string address = i == 0 ? hung.url("/") : server.url("/");
      co_spawn(context, session->exchange(requestFor(address)), asio::detached);
    }
    context.run_for(std::chrono::microseconds(round * 20));
  }
  EXPECT_EQ(fetch(session, server.url("/")), "200 ok");
  EXPECT_TRUE(waitUntil([&] { return ended == hung.connectionCount(); }))
      << "abandoned exchanges let their connections go";
}

std::atomic<bool> handlerRan = false;

TEST(URLSession, LeavesSignalsToTheApplicationsThreads) {
  fetch(URLSession::ephemeral(), "http://127.0.0.1:" + std::to_string(refusedPort()));
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGUSR1);
  std::signal(SIGUSR1, [](int) { handlerRan = true; });
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // and with it in the server's threads
  {
    RawServer server(ok);
    EXPECT_EQ(fetch(URLSession::ephemeral(), server.url("/")), "200 ok");
    kill(getpid(), SIGUSR1);
    EXPECT_EQ(fetch(URLSession::ephemeral(), server.url("/")), "200 ok");
  }
  EXPECT_FALSE(handlerRan);
  const timespec none{};
  EXPECT_EQ(sigtimedwait(&signals, nullptr, &none), SIGUSR1) << "it waits for a thread of ours";
  pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

}  // namespace
}  // namespace idlewyn::testing

// SPDX-License-Identifier: MIT
// Cancelling the awaiting coroutine at each stage and in each way, and everything else that may be
// gone before an exchange ends.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <future>
#include <thread>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>

#include "tests/platform/net/NetSupport.hpp"

// The program's resolver, in place of the C library's: one name takes its time.
extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* name,
                                                                  const char* service,
                                                                  const addrinfo* hints,
                                                                  addrinfo** result) {
  if (name != nullptr && std::string_view(name) == "slow.example") {
    std::this_thread::sleep_for(std::chrono::seconds(4));
    return EAI_NONAME;
  }
  static const auto original =
      reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return original(name, service, hints, result);
}

namespace {
std::atomic<int> loopsBegun = -1;  // counted from 0, when that takes its time
}

extern "C" __attribute__((visibility("default"))) int epoll_create1(int flags) {
  if (loopsBegun >= 0 && ++loopsBegun > 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
  static const auto original =
      reinterpret_cast<decltype(&epoll_create1)>(dlsym(RTLD_NEXT, "epoll_create1"));
  return original(flags);
}

namespace idlewyn::testing {
namespace {

namespace asio = boost::asio;
using namespace std::chrono_literals;

struct Report {
  std::string outcome = "(none)";
  bool throwsIfCancelled = false;
  asio::cancellation_type cancelled = asio::cancellation_type::none;
};

asio::awaitable<void> fetchInto(Report& report, std::shared_ptr<URLSession> session,
                                URLRequest request) {
  co_await asio::this_coro::reset_cancellation_state(asio::enable_total_cancellation());
  report.outcome = describe(co_await session->exchange(std::move(request)));
  report.throwsIfCancelled = co_await asio::this_coro::throw_if_cancelled();
  const asio::cancellation_state state = co_await asio::this_coro::cancellation_state;
  report.cancelled = state.cancelled();
}

/// Starts a fetch, cancels it 30 ms later, when `isUnderWay` says yes, and runs it to its end.
template <class Condition>
Report cancelWhen(Condition isUnderWay, const std::string& address, asio::cancellation_type type) {
  asio::cancellation_signal signal;
  asio::io_context context;
  Report report;
  co_spawn(context, fetchInto(report, trustingSession(), requestFor(address)),
           asio::bind_cancellation_slot(signal.slot(), asio::detached));
  context.run_for(30ms);
  EXPECT_TRUE(isUnderWay());
  EXPECT_EQ(report.outcome, "(none)");
  const auto begin = std::chrono::steady_clock::now();
  signal.emit(type);
  context.restart();
  context.run_for(10s);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s) << "the end came late";
  return report;
}

TEST(URLSessionCancellation, OfEveryTypeEndsTheExchangeAtEveryStage) {
  RawServer handshake{RawServer::TLS{.silentConnections = 1}};
  std::atomic<int> ended = 0;
  RawServer answerless([&](RawServer::Connection& connection) {
    connection.readRequest();
    connection.hang();
    ++ended;
  });
  RawServer halfway([&](RawServer::Connection& connection) {
    connection.readRequest();
    connection.write("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
    connection.hang();
    ++ended;
  });
  using Type = asio::cancellation_type;
  const std::tuple<const char*, Type, std::string, std::function<bool()>> rows[] = {
      {"looking the name up", Type::terminal, "http://slow.example/", [] { return true; }},
      {"shaking hands", Type::total, handshake.url("/"),
       [&] { return handshake.waitForConnections(1); }},
      {"waiting", Type::partial, answerless.url("/"),
       [&] { return answerless.waitForRequests(1); }},
      {"receiving", Type::terminal, halfway.url("/"), [&] { return halfway.waitForRequests(1); }},
  };
  for (const auto& [stage, type, address, isUnderWay] : rows) {
    const Report report = cancelWhen(isUnderWay, address, type);
    EXPECT_EQ(report.outcome, "-999") << stage;
    EXPECT_TRUE(report.throwsIfCancelled) << stage;
    EXPECT_EQ(report.cancelled, type) << stage;
  }
  EXPECT_TRUE(waitUntil([&] { return ended == 2; }))
      << "the connections of cancelled exchanges are closed";
}

TEST(URLSessionCancellation, LetsOthersGoOn) {
  RawServer server{RawServer::TLS{.silentConnections = 1}};
  const auto session = trustingSession();
  asio::cancellation_signal signal;
  asio::io_context context;
  std::array<Report, 10> reports;
  co_spawn(context, fetchInto(reports[0], session, requestFor(server.url("/"))),
           asio::bind_cancellation_slot(signal.slot(), asio::detached));
  context.run_for(1ms);
  ASSERT_TRUE(server.waitForConnections(1));
  for (std::size_t i = 1; i < reports.size(); ++i) {
    co_spawn(context, fetchInto(reports[i], session, requestFor(server.url("/"))), asio::detached);
  }
  context.restart();
  context.run_for(20ms);
  EXPECT_EQ(reports[0].outcome, "(none)");
  signal.emit(asio::cancellation_type::terminal);
  context.restart();
  context.run_for(15s);
  EXPECT_EQ(reports[0].outcome, "-999");
  for (std::size_t i = 1; i < reports.size(); ++i)
    EXPECT_EQ(reports[i].outcome, "200 ok") << i;
}

TEST(URLSessionCancellation, EndsAHundredHangingExchangesThatHoldUpNoOtherOrigin) {
  RawServer hung([](RawServer::Connection& connection) { connection.hang(); });
  RawServer server;
  const auto session = URLSession::ephemeral();
  asio::cancellation_signal signals[250];
  Report reports[250], other;
  asio::io_context context;
  for (int i = 0; i < 250; ++i) {
    URLRequest request = requestFor(hung.url("/"));
    if (i >= 200) request.timeoutInterval = 1s;  // which waiting for one's turn counts towards
    co_spawn(context, fetchInto(reports[i], session, request),
             asio::bind_cancellation_slot(signals[i].slot(), asio::detached));
  }
  co_spawn(context, fetchInto(other, session, requestFor(server.url("/"))), asio::detached);
  while (other.outcome == "(none)")
    context.run_one();
  EXPECT_EQ(other.outcome, "200 ok");
  EXPECT_EQ(reports[200].outcome, "(none)") << "the other origin's answer came first";
  context.run_for(1500ms);
  EXPECT_TRUE(hung.waitForConnections(100));
  EXPECT_EQ(hung.connectionCount(), 100);
  for (auto& signal : signals)
    signal.emit(asio::cancellation_type::terminal);
  context.restart();
  context.run_for(2s);
  for (int i = 0; i < 250; ++i)
    EXPECT_EQ(reports[i].outcome, i < 200 ? "-999" : "-1001") << i;
}

using Connection = RawServer::Connection;

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
      RawServer::TLS());
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
  RawServer server{RawServer::TLS()};
  auto delegate = std::make_shared<ScriptedDelegate>(accept);
  const std::weak_ptr<ScriptedDelegate> weak = delegate;
  const auto request = requestFor(server.url("/"));
  EXPECT_EQ(describe(wait(URLSession::ephemeral(std::move(delegate))->exchange(request))),
            "200 ok");
  EXPECT_TRUE(waitUntil([&] { return weak.expired(); }));
  RawServer plain;
  for (const auto& lasting : {URLSession::shared(), URLSession::lasting()}) {
    lasting->finishTasksAndInvalidate();
    EXPECT_EQ(fetch(lasting, plain.url("/")), "200 ok");
  }
}

TEST(URLSession, SurvivesTheCallersContext) {
  std::atomic<int> ended = 0;
  RawServer hung([&](Connection& connection) {
    connection.hang();
    ++ended;
  });
  RawServer server;
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

[[noreturn]] void forkWhileTheFirstRequestBegins() {
  const std::string refused = "http://127.0.0.1:" + std::to_string(refusedPort());
  const auto session = URLSession::ephemeral();
  loopsBegun = 0;
  std::thread first([&] { fetch(session, refused); });
  waitUntil([] { return loopsBegun > 0; });
  const pid_t child = fork();
  alarm(5);
  if (child == 0) {
    const bool isRight =
        fetch(session, refused) == "-999" && fetch(URLSession::ephemeral(), refused) == "-999";
    std::_Exit(isRight ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  first.join();
  std::_Exit(status == 0 && fetch(session, refused) == "-1004" ? 0 : 1);
}

TEST(URLSessionDeathTest, CancelsInAChildThatIsForkedWhileTheFirstRequestBegins) {
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(forkWhileTheFirstRequestBegins(), ::testing::ExitedWithCode(0), "");
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
    RawServer server;
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

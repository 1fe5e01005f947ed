// SPDX-License-Identifier: MIT
// Cancelling the awaiting coroutine, at each stage and in each way.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>

#include <array>
#include <chrono>
#include <thread>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>

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
  RawServer::TLS waiting{TestCertificate()};
  waiting.silentConnections = 1;
  RawServer handshake([](RawServer::Connection&) {}, waiting);
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
  struct Row {
    const char* stage;
    Type type;
    std::string address;
    std::function<bool()> isUnderWay;
  };
  const Row rows[] = {
      {"looking the name up", Type::terminal, "http://slow.example/", [] { return true; }},
      {"shaking hands", Type::total, handshake.url("/"),
       [&] { return handshake.waitForConnections(1); }},
      {"waiting", Type::partial, answerless.url("/"),
       [&] { return answerless.waitForRequests(1); }},
      {"receiving", Type::terminal, halfway.url("/"), [&] { return halfway.waitForRequests(1); }},
  };
  for (const Row& row : rows) {
    const Report report = cancelWhen(row.isUnderWay, row.address, row.type);
    EXPECT_EQ(report.outcome, "-999") << row.stage;
    EXPECT_TRUE(report.throwsIfCancelled) << row.stage;
    EXPECT_EQ(report.cancelled, row.type) << row.stage;
  }
  EXPECT_TRUE(waitUntil([&] { return ended == 2; }))
      << "the connections of cancelled exchanges are closed";
}

TEST(URLSessionCancellation, LetsOthersGoOn) {
  // All wait for the handshake of the first one's connection, in case it can be shared.
  RawServer::TLS tls{TestCertificate()};
  tls.silentConnections = 1;
  RawServer server(RawServer::answering(RawServer::answer("ok")), tls);
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
  EXPECT_EQ(server.connectionCount(), 1);
  for (const Report& report : reports)
    EXPECT_EQ(report.outcome, "(none)");
  signal.emit(asio::cancellation_type::terminal);
  context.restart();
  context.run_for(15s);
  EXPECT_EQ(reports[0].outcome, "-999");
  for (std::size_t i = 1; i < reports.size(); ++i)
    EXPECT_EQ(reports[i].outcome, "200 ok") << i;
}

TEST(URLSessionCancellation, EndsAHundredHangingExchangesAndThoseThatWaitForTheirTurn) {
  RawServer server([](RawServer::Connection& connection) { connection.hang(); });
  const auto session = URLSession::ephemeral();
  asio::cancellation_signal signals[250];
  Report reports[250];
  asio::io_context context;
  for (int i = 0; i < 250; ++i) {
    co_spawn(context, fetchInto(reports[i], session, requestFor(server.url("/"))),
             asio::bind_cancellation_slot(signals[i].slot(), asio::detached));
  }
  context.run_for(200ms);
  EXPECT_TRUE(server.waitForConnections(100));
  EXPECT_EQ(server.connectionCount(), 100);
  for (auto& signal : signals)
    signal.emit(asio::cancellation_type::terminal);
  context.restart();
  context.run_for(2s);
  for (const Report& report : reports)
    EXPECT_EQ(report.outcome, "-999");
}

}  // namespace
}  // namespace idlewyn::testing

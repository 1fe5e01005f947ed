// SPDX-License-Identifier: MIT
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <tests/support/RelayFixture.hpp>
#include <tests/support/Sessions.hpp>

namespace idlewyn {
namespace {

namespace asio = boost::asio;
using asio::cancellation_type;
using testing::connectionTo;
using testing::liveService;
using testing::makeSession;
using testing::plainHTTP;
using namespace std::chrono_literals;

// What a caller saw of an operation, and of itself afterwards.
struct Seen {
  SnapshotResult result;
  std::string single;
  bool throwsBefore = false, throwsAfter = false;
  cancellation_type cancelled = cancellation_type::none;
};

SessionSnapshot fallback() { return SessionSnapshot({makeSession("old")}, Date{}); }

asio::awaitable<void> caller(std::vector<Connection> connections, bool throwIfCancelled,
                             Seen& seen) {
  co_await asio::this_coro::reset_cancellation_state(asio::enable_total_cancellation());
  co_await asio::this_coro::throw_if_cancelled(throwIfCancelled);
  seen.throwsBefore = throwIfCancelled;
  seen.result = co_await liveService().snapshot(connections, fallback());
  seen.throwsAfter = co_await asio::this_coro::throw_if_cancelled();
  seen.cancelled = (co_await asio::this_coro::cancellation_state).cancelled();
  co_await asio::this_coro::throw_if_cancelled(false);
  try {
    co_await liveService().sessions(connections.front());
    seen.single = "ok";
  } catch (const std::exception& error) {
    seen.single = error.what();
  }
}

// Runs the caller and cancels it after a while.
Seen cancelAfter(std::chrono::milliseconds delay, cancellation_type type,
                 const std::vector<Connection>& connections, bool throwIfCancelled) {
  Seen seen;
  asio::io_context context;
  asio::cancellation_signal signal;
  asio::co_spawn(context, caller(connections, throwIfCancelled, seen),
                 asio::bind_cancellation_slot(signal.slot(), [](std::exception_ptr error) {
                   if (error) std::rethrow_exception(error);
                 }));
  asio::steady_timer timer(context, delay);
  timer.async_wait([&](auto) { signal.emit(type); });
  const auto begin = std::chrono::steady_clock::now();
  context.run();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, delay + 5s) << "not ended by the cancel";
  return seen;
}

TEST(Cancellation, OfEveryTypeGivesAResultAndLeavesTheCallersSettings) {
  sandbox::SandboxRelay plain(plainHTTP()), pinned;
  plain.setFault("*", sandbox::Fault::stall());
  pinned.setFault("*", sandbox::Fault::stallMidBody());
  const std::vector<Connection> connections{connectionTo(plain, AgentProvider::claude),
                                            connectionTo(pinned, AgentProvider::codex)};
  for (const auto type :
       {cancellation_type::terminal, cancellation_type::partial, cancellation_type::total}) {
    for (const bool throwIfCancelled : {false, true}) {
      const Seen seen = cancelAfter(150ms, type, connections, throwIfCancelled);
      ASSERT_EQ(seen.result.errors.size(), 2u) << static_cast<int>(type);
      try {
        std::rethrow_exception(seen.result.errors.at(AgentProvider::claude));
      } catch (const URLError& error) {
        EXPECT_EQ(error.code, URLErrorCode::cancelled);
      }
      EXPECT_EQ(errorDescription(seen.result.errors.at(AgentProvider::codex)),
                RelayError::certificateMismatch().errorDescription());
      EXPECT_EQ(seen.result.snapshot.sessions, fallback().sessions);
      EXPECT_EQ(seen.throwsAfter, throwIfCancelled);
      EXPECT_EQ(seen.cancelled, type);
      EXPECT_NE(seen.single, "ok") << "an operation of a cancelled caller went out";
    }
  }
}

asio::awaitable<void> cancelledBefore(asio::cancellation_signal& signal,
                                      std::vector<Connection> connections, Seen& seen) {
  co_await asio::this_coro::throw_if_cancelled(false);
  signal.emit(cancellation_type::terminal);
  seen.result = co_await liveService().snapshot(connections, fallback());
  seen.cancelled = (co_await asio::this_coro::cancellation_state).cancelled();
}

TEST(Cancellation, BeforeTheStartSendsNothing) {
  sandbox::SandboxRelay relay(plainHTTP());
  Seen seen;
  asio::io_context context;
  asio::cancellation_signal signal;
  asio::co_spawn(
      context,
      cancelledBefore(signal, {connectionTo(relay), Connection::demo(AgentProvider::codex)}, seen),
      asio::bind_cancellation_slot(signal.slot(), [](std::exception_ptr) {}));
  context.run();
  EXPECT_TRUE(relay.requests().empty());
  EXPECT_EQ(relay.connectionsAccepted(), 0u);
  EXPECT_EQ(seen.result.errors.size(), 1u);
  EXPECT_EQ(seen.result.snapshot.sessionsFor(AgentProvider::codex).size(), 2u);
  EXPECT_EQ(seen.cancelled, cancellation_type::terminal);
}

// What one cancelled operation or snapshot of a connection came to.
std::string errorOf(const std::exception_ptr& error) {
  try {
    if (error) std::rethrow_exception(error);
  } catch (const URLError& urlError) {
    return std::to_string(static_cast<int>(urlError.code));
  } catch (const std::exception& other) {
    return other.what();
  }
  return "ok";
}

TEST(Cancellation, BetweenTheSpawningOfAFetchAndItsFirstStepIsACancelledFetch) {
  sandbox::SandboxRelay relay(plainHTTP());
  for (int handlers = 0; handlers < 8; ++handlers) {
    asio::io_context context;
    asio::cancellation_signal signal;
    std::string outcome = "none";
    asio::co_spawn(context, liveService().snapshot({connectionTo(relay)}, fallback()),
                   asio::bind_cancellation_slot(signal.slot(), [&](std::exception_ptr error,
                                                                   SnapshotResult result) {
                     const auto& errors = result.errors;
                     outcome = errorOf(error || errors.empty() ? error : errors.begin()->second);
                   }));
    for (int i = 0; i < handlers; ++i)
      context.poll_one();
    signal.emit(cancellation_type::terminal);
    context.run();
    if (handlers == 0) continue;  // asio itself ends what never began
    EXPECT_TRUE(outcome == "-999" || outcome == "ok") << outcome << " after " << handlers;
  }
}

TEST(Cancellation, OfAPinnedExchangeOverPlainHTTPReadsAsAMismatchToo) {
  sandbox::SandboxRelay relay(plainHTTP());
  relay.setFault("*", sandbox::Fault::stall());
  Connection connection = connectionTo(relay);
  connection.certificatePin = "abcd";
  const Seen seen = cancelAfter(100ms, cancellation_type::terminal, {connection}, false);
  EXPECT_EQ(errorOf(seen.result.errors.at(AgentProvider::claude)),
            RelayError::certificateMismatch().errorDescription());
}

asio::awaitable<void> keepsSetting(Connection good, Connection bad, bool setting) {
  co_await asio::this_coro::throw_if_cancelled(setting);
  co_await liveService().sessions(good);
  EXPECT_EQ(co_await asio::this_coro::throw_if_cancelled(), setting);
  try {
    co_await liveService().sessions(bad);
    ADD_FAILURE() << "nobody listens";
  } catch (const URLError&) {
  }
  EXPECT_EQ(co_await asio::this_coro::throw_if_cancelled(), setting);
}

TEST(Cancellation, SettingsOfACallerSurviveSuccessAndFailure) {
  sandbox::SandboxRelay relay(plainHTTP());
  Connection bad = connectionTo(relay);
  bad.serverURL = URL::parse("http://127.0.0.1:1");
  for (const bool setting : {false, true}) {
    wait(keepsSetting(connectionTo(relay), bad, setting));
  }
}

TEST(Cancellation, ACallersOtherFilterIsRespected) {
  sandbox::SandboxRelay relay(plainHTTP());
  relay.setFault("*", sandbox::Fault::delay(0.4));
  // By default a coroutine lets only terminal cancellation through.
  asio::io_context context;
  asio::cancellation_signal signal;
  std::string outcome;
  asio::co_spawn(context, liveService().snapshot({connectionTo(relay)}, fallback()),
                 asio::bind_cancellation_slot(
                     signal.slot(), [&](std::exception_ptr error, SnapshotResult result) {
                       outcome = error || !result.errors.empty() ? "failed" : "ok";
                     }));
  asio::steady_timer timer(context, 100ms);
  timer.async_wait([&](auto) { signal.emit(cancellation_type::total); });
  context.run();
  EXPECT_EQ(outcome, "ok");
}

TEST(Lifetime, ACallersContextMayEndWithTransfersInFlight) {
  sandbox::SandboxRelay relay;
  relay.setFault("*", sandbox::Fault::stall());
  const std::vector<Connection> connections(20, connectionTo(relay));
  for (int round = 0; round < 5; ++round) {
    asio::io_context context;
    asio::co_spawn(context, liveService().snapshot(connections, fallback()),
                   [](std::exception_ptr, SnapshotResult) { FAIL() << "can't have ended"; });
    context.run_for(20ms * round);
  }
  relay.clearFaults();
  EXPECT_EQ(testing::outcomeOf([&] { return liveService().sessions(connections[0]); }), "ok");
}

}  // namespace
}  // namespace idlewyn

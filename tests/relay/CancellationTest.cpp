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
using testing::errorText;
using testing::liveService;
using testing::makeSession;
using testing::plainHTTP;
using namespace std::chrono_literals;

// What a caller saw of an operation, and of itself afterwards.
struct Seen {
  SnapshotResult result;
  std::optional<URLErrorCode> single;
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
  } catch (const URLError& error) {
    seen.single = error.code;
  }
}

// A context with a coroutine that can be cancelled.
struct Cancellable {
  void spawn(asio::awaitable<void> coroutine) {
    asio::co_spawn(context, std::move(coroutine),
                   asio::bind_cancellation_slot(signal.slot(), [](std::exception_ptr error) {
                     if (error) std::rethrow_exception(error);
                   }));
  }
  // The outcome of the first connection's fetch.
  void spawnSnapshot(const Connection& connection) {
    asio::co_spawn(context, liveService().snapshot({connection}, fallback()),
                   asio::bind_cancellation_slot(signal.slot(), [this](std::exception_ptr error,
                                                                      SnapshotResult result) {
                     const auto& errors = result.errors;
                     outcome = errorText(error || errors.empty() ? error : errors.begin()->second);
                   }));
  }
  void runAndCancelAfter(std::chrono::milliseconds delay, cancellation_type type) {
    asio::steady_timer timer(context, delay);
    timer.async_wait([&](auto) { signal.emit(type); });
    context.run();
  }

  asio::io_context context;
  asio::cancellation_signal signal;
  std::string outcome = "none";
};

TEST(Cancellation, OfEveryTypeGivesAResultAndLeavesTheCallersSettings) {
  sandbox::SandboxRelay plain(plainHTTP()), pinned;
  plain.setFault("*", sandbox::Fault::stall());
  pinned.setFault("*", sandbox::Fault::stallMidBody());
  const std::vector<Connection> connections{connectionTo(plain, AgentProvider::claude),
                                            connectionTo(pinned, AgentProvider::codex)};
  for (const auto type :
       {cancellation_type::terminal, cancellation_type::partial, cancellation_type::total}) {
    for (const bool throwIfCancelled : {false, true}) {
      Seen seen;
      Cancellable cancellable;
      cancellable.spawn(caller(connections, throwIfCancelled, seen));
      const auto begin = std::chrono::steady_clock::now();
      cancellable.runAndCancelAfter(150ms, type);
      EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s) << "not ended by the cancel";
      ASSERT_EQ(seen.result.errors.size(), 2u) << static_cast<int>(type);
      EXPECT_EQ(errorText(seen.result.errors.at(AgentProvider::claude)), "-999");
      EXPECT_EQ(errorText(seen.result.errors.at(AgentProvider::codex)),
                RelayError::certificateMismatch().errorDescription());
      EXPECT_EQ(seen.result.snapshot.sessions, fallback().sessions);
      EXPECT_EQ(seen.throwsAfter, throwIfCancelled);
      EXPECT_EQ(seen.cancelled, type);
      EXPECT_EQ(seen.single, URLErrorCode::cancelled)
          << "an operation of a cancelled caller went out";
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
  Cancellable cancellable;
  cancellable.spawn(cancelledBefore(
      cancellable.signal, {connectionTo(relay), Connection::demo(AgentProvider::codex)}, seen));
  cancellable.context.run();
  EXPECT_TRUE(relay.requests().empty());
  EXPECT_EQ(relay.connectionsAccepted(), 0u);
  EXPECT_EQ(seen.result.errors.size(), 1u);
  EXPECT_EQ(seen.result.snapshot.sessionsFor(AgentProvider::codex).size(), 2u);
  EXPECT_EQ(seen.cancelled, cancellation_type::terminal);
}

TEST(Cancellation, BetweenTheSpawningOfAFetchAndItsFirstStepIsACancelledFetch) {
  sandbox::SandboxRelay relay(plainHTTP());
  // Before the first handler asio itself ends what never began.
  for (int handlers = 1; handlers < 8; ++handlers) {
    Cancellable fetch;
    fetch.spawnSnapshot(connectionTo(relay));
    for (int i = 0; i < handlers; ++i)
      fetch.context.poll_one();
    fetch.signal.emit(cancellation_type::terminal);
    fetch.context.run();
    EXPECT_TRUE(fetch.outcome == "-999" || fetch.outcome == "ok")
        << fetch.outcome << " after " << handlers;
  }
}

TEST(Cancellation, FollowsTheCallersFilterAndReadsAsAMismatchWhereverAPinIs) {
  sandbox::SandboxRelay relay(plainHTTP());
  relay.setFault("*", sandbox::Fault::delay(0.4));
  Connection connection = connectionTo(relay);
  const auto outcomeOfCancelling = [&](cancellation_type type) {
    Cancellable fetch;
    fetch.spawnSnapshot(connection);
    fetch.runAndCancelAfter(100ms, type);
    return fetch.outcome;
  };
  // By default a coroutine lets only terminal cancellation through.
  EXPECT_EQ(outcomeOfCancelling(cancellation_type::total), "ok");
  EXPECT_EQ(outcomeOfCancelling(cancellation_type::terminal), "-999");
  connection.certificatePin = "abcd";
  EXPECT_EQ(outcomeOfCancelling(cancellation_type::terminal),
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

}  // namespace
}  // namespace idlewyn

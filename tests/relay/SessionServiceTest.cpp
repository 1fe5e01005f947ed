// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <vector>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>

#include <tests/support/RelayFixture.hpp>
#include <tests/support/Sessions.hpp>

namespace idlewyn {
namespace {

namespace asio = boost::asio;
using namespace std::chrono_literals;
using asio::cancellation_type;
using namespace testing;

const auto claude = AgentProvider::claude;
const auto codex = AgentProvider::codex;

SessionSnapshot fallback() {
  return SessionSnapshot(
      {makeSession("oldCodex1", SessionStatus::idle, 0, codex), makeSession("oldClaude"),
       makeSession("oldCodex2", SessionStatus::idle, 0, codex)},
      platform::dateFromReferenceSeconds(1));
}

SnapshotResult take(std::vector<Connection> connections) {
  const Date before = DateClock::now();
  SnapshotResult result = wait(liveService().snapshot(std::move(connections), fallback()));
  EXPECT_GE(result.snapshot.updatedAt, before) << "stamped with the fallback's time";
  EXPECT_LE(result.snapshot.updatedAt, DateClock::now());
  return result;
}

TEST(Snapshot, OfNothingIsEmptyAndOfDemosNeedsNoNetwork) {
  const SnapshotResult none = take({});
  EXPECT_TRUE(none.snapshot.sessions.empty());
  EXPECT_TRUE(none.errors.empty());

  const SnapshotResult demos = take({Connection::demo(codex), Connection::demo(claude)});
  EXPECT_EQ(demos.snapshot.sessionsFor(claude).size(), 3u);
  EXPECT_EQ(demos.snapshot.sessionsFor(codex).size(), 2u);
  EXPECT_TRUE(demos.errors.empty());
}

TEST(Snapshot, AFailedFetchGivesItsErrorAndTheFallbacksSessions) {
  sandbox::SandboxRelay up(plainHTTP()), down(plainHTTP());
  up.setSessions({makeSession("new")});
  Connection lost = connectionTo(down, codex);
  down.stop();
  const SnapshotResult result = take({connectionTo(up, claude), lost});
  EXPECT_EQ(result.snapshot.sessionsFor(claude).front().id, "new");
  EXPECT_EQ(result.snapshot.sessionsFor(codex), fallback().sessionsFor(codex));
  ASSERT_EQ(result.errors.size(), 1u);
  EXPECT_THROW(std::rethrow_exception(result.errors.at(codex)), URLError);

  // All failed: only the sessions of providers with a connection stay.
  EXPECT_EQ(idsOf(take({lost}).snapshot.sessions),
            (std::vector<std::string>{"oldCodex1", "oldCodex2"}));
  // Two connections of one provider: one error, the fallback once for each.
  const SnapshotResult twice = take({lost, lost});
  EXPECT_EQ(twice.errors.size(), 1u);
  EXPECT_EQ(twice.snapshot.sessions.size(), 4u);
}

TEST(Snapshot, MergesInTheOrderInWhichFetchesEndTheLatestErrorCounting) {
  sandbox::SandboxRelay slow(plainHTTP()), fast(plainHTTP());
  slow.setSessions({makeSession("slow")});
  fast.setSessions({makeSession("fast2", SessionStatus::idle, 0, codex),
                    makeSession("fast1", SessionStatus::idle, 0, codex)});
  slow.setFault("*", sandbox::Fault::delay(0.3));
  const SnapshotResult result = take({connectionTo(slow, claude), connectionTo(fast, codex)});
  EXPECT_EQ(idsOf(result.snapshot.sessions), (std::vector<std::string>{"fast2", "fast1", "slow"}));
  EXPECT_TRUE(result.errors.empty());

  slow.respondWith("*", 401, "");
  fast.respondWith("*", 500, "");
  const SnapshotResult failed = take({connectionTo(slow), connectionTo(fast)});
  EXPECT_EQ(errorDescription(failed.errors.at(claude)),
            RelayError::unauthorized().errorDescription());
}

// Every argument and the service are gone before the operation runs.
SnapshotResult takeOnThreads(std::vector<Connection> connections) {
  asio::thread_pool pool(4);
  return asio::co_spawn(pool, liveService().snapshot(std::move(connections), fallback()),
                        asio::use_future)
      .get();
}

TEST(Snapshot, MayEndOnAnotherThreadBeforeAllIsLaunched) {
  for (int round = 0; round < 200; ++round) {
    const std::vector<Connection> demos(8, Connection::demo(codex));
    ASSERT_EQ(takeOnThreads(demos).snapshot.sessions.size(), 16u);
  }
}

TEST(Snapshot, FetchesAllAtOnceOnAnyExecutor) {
  sandbox::SandboxRelay relay;
  relay.setSessions({makeSession("a")});
  relay.setFault("*", sandbox::Fault::delay(0.25));
  const std::vector<Connection> connections(40, connectionTo(relay));
  const auto begin = std::chrono::steady_clock::now();
  const SnapshotResult result = takeOnThreads(connections);
  EXPECT_EQ(result.snapshot.sessions.size(), 40u);
  EXPECT_TRUE(result.errors.empty());
  // One after the other they would take ten seconds, the limit of each.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(8));
}

// What a caller saw of an operation, of itself afterwards, and of one that it began then.
struct Seen {
  SnapshotResult result, later;
  bool throwsAfter = false;
  cancellation_type cancelled = cancellation_type::none;
};

// Two operations end by themselves, then one is cancelled.
asio::awaitable<void> caller(std::vector<Connection> connections, Connection healthy, bool setting,
                             Seen& seen) {
  co_await asio::this_coro::reset_cancellation_state(asio::enable_total_cancellation());
  co_await asio::this_coro::throw_if_cancelled(setting);
  for (const char* address : {"", "http://127.0.0.1:1"}) {
    if (*address) healthy.serverURL = URL::parse(address);
    try {
      co_await liveService().sessions(healthy);
    } catch (const URLError&) {
    }
    EXPECT_EQ(co_await asio::this_coro::throw_if_cancelled(), setting) << address;
  }
  seen.result = co_await liveService().snapshot(connections, fallback());
  seen.throwsAfter = co_await asio::this_coro::throw_if_cancelled();
  co_await asio::this_coro::throw_if_cancelled(false);
  connections[1] = Connection::demo(codex);
  seen.later = co_await liveService().snapshot(connections, fallback());
  seen.cancelled = (co_await asio::this_coro::cancellation_state).cancelled();
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
  sandbox::SandboxRelay plain(plainHTTP()), healthy(plainHTTP()), pinned;
  plain.setFault("*", sandbox::Fault::stall());
  pinned.setFault("*", sandbox::Fault::stallMidBody());
  const std::vector<Connection> connections{connectionTo(plain, AgentProvider::claude),
                                            connectionTo(pinned, AgentProvider::codex)};
  for (const auto type :
       {cancellation_type::terminal, cancellation_type::partial, cancellation_type::total}) {
    for (const bool throwIfCancelled : {false, true}) {
      Seen seen;
      Cancellable cancellable;
      cancellable.spawn(caller(connections, connectionTo(healthy), throwIfCancelled, seen));
      const auto begin = std::chrono::steady_clock::now();
      plain.clearRequests();
      cancellable.runAndCancelAfter(150ms, type);
      EXPECT_EQ(plain.requests().size(), 1u) << "a cancelled caller's operation went out";
      EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s) << "not ended by the cancel";
      ASSERT_EQ(seen.result.errors.size(), 2u) << static_cast<int>(type);
      EXPECT_EQ(errorText(seen.result.errors.at(AgentProvider::claude)), "-999");
      EXPECT_EQ(errorText(seen.result.errors.at(AgentProvider::codex)),
                RelayError::certificateMismatch().errorDescription());
      for (const AgentProvider provider : {claude, codex})
        EXPECT_EQ(seen.result.snapshot.sessionsFor(provider), fallback().sessionsFor(provider));
      EXPECT_EQ(seen.throwsAfter, throwIfCancelled);
      EXPECT_EQ(seen.cancelled, type);
      EXPECT_EQ(errorText(seen.later.errors.at(claude)), "-999");
      EXPECT_EQ(seen.later.snapshot.sessionsFor(codex).size(), 2u);
    }
  }
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

}  // namespace
}  // namespace idlewyn

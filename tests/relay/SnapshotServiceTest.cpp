// SPDX-License-Identifier: MIT
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>

#include <tests/support/RelayFixture.hpp>
#include <tests/support/Sessions.hpp>

namespace idlewyn {
namespace {

using testing::connectionTo;
using testing::liveService;
using testing::makeSession;
using testing::plainHTTP;

const auto claude = AgentProvider::claude;
const auto codex = AgentProvider::codex;

std::vector<std::string> ids(const SnapshotResult& result) {
  std::vector<std::string> found;
  for (const AgentSession& session : result.snapshot.sessions)
    found.push_back(session.id);
  return found;
}

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
  EXPECT_EQ(ids(take({lost})), (std::vector<std::string>{"oldCodex1", "oldCodex2"}));
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
  EXPECT_EQ(ids(result), (std::vector<std::string>{"fast2", "fast1", "slow"}));
  EXPECT_TRUE(result.errors.empty());

  slow.respondWith("*", 401, "");
  fast.respondWith("*", 500, "");
  const SnapshotResult failed = take({connectionTo(slow), connectionTo(fast)});
  EXPECT_EQ(errorDescription(failed.errors.at(claude)),
            RelayError::unauthorized().errorDescription());
}

TEST(Snapshot, MayEndOnAnotherThreadBeforeAllIsLaunched) {
  boost::asio::thread_pool pool(3);
  for (int round = 0; round < 200; ++round) {
    const std::vector<Connection> demos(8, Connection::demo(codex));
    auto future = boost::asio::co_spawn(pool, liveService().snapshot(demos, fallback()),
                                        boost::asio::use_future);
    ASSERT_EQ(future.get().snapshot.sessions.size(), 16u);
  }
}

TEST(Snapshot, FetchesAllAtOnceOnAnyExecutor) {
  sandbox::SandboxRelay relay;
  relay.setSessions({makeSession("a")});
  relay.setFault("*", sandbox::Fault::delay(0.25));
  const std::vector<Connection> connections(40, connectionTo(relay));
  boost::asio::thread_pool pool(4);
  const auto begin = std::chrono::steady_clock::now();
  // Every argument and the service are gone before the operation runs.
  auto future = boost::asio::co_spawn(pool, liveService().snapshot(connections, fallback()),
                                      boost::asio::use_future);
  const SnapshotResult result = future.get();
  EXPECT_EQ(result.snapshot.sessions.size(), 40u);
  EXPECT_TRUE(result.errors.empty());
  // One after the other they would take ten seconds, the limit of each.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(8));
}

}  // namespace
}  // namespace idlewyn

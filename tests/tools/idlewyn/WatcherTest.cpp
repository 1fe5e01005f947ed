// SPDX-License-Identifier: MIT
#include <tools/idlewyn/watch/Watcher.hpp>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/net/URLError.hpp>
#include <IdlewynKit/relay/RelayError.hpp>
#include <tests/support/Sessions.hpp>

namespace idlewyn::command {
namespace {

using Seconds = Watcher::Seconds;
constexpr auto claude = AgentProvider::claude;
constexpr auto codex = AgentProvider::codex;

Connection paired(AgentProvider provider, const std::string& token = "t") {
  return {provider, URL::parse("https://r.example"), token, "Robin", Date{}, std::nullopt};
}

AgentSession session(AgentProvider provider, SessionStatus status) {
  return idlewyn::testing::makeSession(std::string(rawValue(provider)), status, 0, provider);
}

SnapshotResult answer(std::vector<AgentSession> sessions) {
  return {SessionSnapshot(std::move(sessions), Date{}), {}};
}

template <class Error>
SnapshotResult failure(AgentProvider provider, Error error, const SessionSnapshot& fallback) {
  SnapshotResult result({SessionSnapshot(fallback.sessionsFor(provider), Date{})}, {});
  result.errors[provider] = std::make_exception_ptr(std::move(error));
  return result;
}

const platform::URLError lost(platform::URLErrorCode::cannotConnectToHost, std::nullopt, "Lost.");

struct WatcherTest : ::testing::Test {
  // How long the next wait is.
  double wait() const { return Seconds(*watcher.next() - now).count(); }
  void fail() { watcher.take(failure(claude, lost, watcher.snapshot()), now, now); }
  void pass(double seconds) {
    now += std::chrono::duration_cast<Watcher::Time::duration>(Seconds(seconds));
  }

  double random = 1;
  Watcher watcher{Seconds(5), [this] { return random; }};
  Watcher::Time now{std::chrono::hours(1)};
};

TEST_F(WatcherTest, WaitsTwiceAsLongAfterEachFailureUpToAMinuteAndNotAfterASuccess) {
  watcher.follow({paired(claude)});
  watcher.take(answer({}), now, now);
  EXPECT_DOUBLE_EQ(wait(), 5);
  for (const double seconds : {10., 20., 40., 60., 60.}) {
    pass(wait());
    fail();
    EXPECT_DOUBLE_EQ(wait(), seconds);
  }
  for (int i = 0; i < 100; ++i) {  // as over a weekend: nothing overflows
    pass(wait());
    fail();
  }
  random = 0;
  pass(wait());
  fail();
  EXPECT_DOUBLE_EQ(wait(), 30) << "half of it is left to chance";
  pass(wait());
  watcher.take(answer({}), now, now);
  EXPECT_DOUBLE_EQ(wait(), 5);
  pass(wait());
  fail();
  EXPECT_DOUBLE_EQ(wait(), 5) << "the count begins anew, and no wait is shorter than the interval";
}

TEST_F(WatcherTest, NeverWaitsLessThanALongIntervalAfterAFailure) {
  Watcher slow(Seconds(300), [] { return 0.0; });
  slow.follow({paired(claude)});
  slow.take(failure(claude, lost, slow.snapshot()), now, now);
  EXPECT_DOUBLE_EQ(Seconds(*slow.next() - now).count(), 300);
}

TEST_F(WatcherTest, BeginsWithWhatWasSeenBeforeOfWhoIsPaired) {
  const Date then = platform::dateFromReferenceSeconds(1000);
  const LastSeen before{
      SessionSnapshot(
          {session(claude, SessionStatus::working), session(codex, SessionStatus::working)}, then),
      {{claude, then}, {codex, then}}};
  Watcher later(
      Seconds(5), [] { return 1.0; }, before);
  later.follow({paired(claude)});
  EXPECT_EQ(later.snapshot().sessions.size(), 1u) << "codex is not paired any more";
  later.take(failure(claude, lost, later.snapshot()), now, now);
  EXPECT_EQ(later.lastSeen().snapshot, SessionSnapshot(before.snapshot.sessionsFor(claude), then));
  EXPECT_EQ(later.lastSeen().answered, (std::map<AgentProvider, Date>{{claude, then}}));
  later.follow({paired(claude), paired(codex)});
  EXPECT_FALSE(later.agents().at(codex).answered) << "paired since then";
  for (const auto& [status, count] :
       {std::pair(SessionStatus::waitingForInput, 0u), std::pair(SessionStatus::working, 0u),
        std::pair(SessionStatus::failed, 1u)}) {
    pass(60);
    EXPECT_EQ(later.take(answer({session(claude, status)}), now, now).size(), count)
        << "its first answer is compared with nothing";
  }
  EXPECT_EQ(later.lastSeen().answered.at(claude), Date{});
}

TEST_F(WatcherTest, AsksARelayThatRefusesOnlyAfterAnotherPairingWhichBeginsEmpty) {
  watcher.follow({paired(claude)});
  watcher.take(answer({session(claude, SessionStatus::working)}), now, now);
  pass(wait());
  watcher.take(failure(claude, RelayError::unauthorized(), watcher.snapshot()), now, now);
  EXPECT_FALSE(watcher.next());
  watcher.hasten(claude, now);
  watcher.follow({paired(claude)});
  pass(1e6);
  EXPECT_TRUE(watcher.due(now).empty());
  watcher.follow({paired(claude, "another")});
  EXPECT_EQ(watcher.due(now).size(), 1u);
  EXPECT_TRUE(watcher.errors().empty());
  EXPECT_TRUE(watcher.snapshot().sessions.empty());
}

}  // namespace
}  // namespace idlewyn::command

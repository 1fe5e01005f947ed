// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <IdlewynKit/model/SessionSnapshot.hpp>
#include <IdlewynKit/model/SessionTransition.hpp>
#include <IdlewynKit/model/SnapshotLead.hpp>
#include <tests/support/Sessions.hpp>

namespace idlewyn {
namespace {

using namespace testing;
using enum SessionStatus;

TEST(SessionSnapshot, EmptyIsOneSharedConstantInTheMostDistantPast) {
  const SessionSnapshot& empty = SessionSnapshot::empty();
  EXPECT_EQ(&empty, &SessionSnapshot::empty());
  EXPECT_EQ(platform::secondsSinceReferenceDate(empty.updatedAt), -63'113'904'000.0);
  EXPECT_FALSE(empty.allFinished());
  EXPECT_TRUE(empty.sorted().empty());
  EXPECT_EQ(SnapshotLead(empty), SnapshotLead(0, 0, 0, 0, 0));
  for (const SessionStatus status : allCases<SessionStatus>())
    EXPECT_EQ(empty.count(status), 0);
}

TEST(SessionSnapshot, CountsByStatusAndProvider) {
  const auto codex = AgentProvider::codex;
  const SessionSnapshot snapshot(
      {makeSession("a", working), makeSession("b", waitingForInput, 0, codex),
       makeSession("c", finished), makeSession("d", failed, 0, codex), makeSession("e", idle)},
      Date{});
  EXPECT_EQ(snapshot.workingCount(), 1);
  EXPECT_EQ(snapshot.attentionCount(), 3);
  EXPECT_FALSE(snapshot.allFinished());
  EXPECT_EQ(SnapshotLead(snapshot), SnapshotLead(1, 1, 1, 1, 5));
  EXPECT_EQ(idsOf(snapshot.sessionsFor(codex)), (std::vector<std::string>{"b", "d"}));

  const SessionSnapshot resting({makeSession("e", idle), makeSession("w", waitingForInput)},
                                Date{});
  EXPECT_TRUE(resting.allFinished());
}

TEST(SessionSnapshot, SortsByRankThenLaterUpdateAndKeepsTheRest) {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  const SessionSnapshot snapshot(
      {makeSession("idle", idle, 900), makeSession("done", finished, 100),
       makeSession("w1000", working, 1000), makeSession("w1005", working, 1005),
       makeSession("minusZero", failed, -0.0), makeSession("zero", failed, 0.0),
       makeSession("past", failed, -5), makeSession("wait", waitingForInput, 1),
       makeSession("tie1", finished, 100), makeSession("never", idle, nan),
       makeSession("micro", working, 1005.0000002)},
      Date{});
  EXPECT_EQ(idsOf(snapshot.sorted()),
            (std::vector<std::string>{"wait", "micro", "w1005", "w1000", "minusZero", "zero",
                                      "past", "done", "tie1", "idle", "never"}));
}

TEST(SessionSnapshot, LongListsSortAsShortOnesDo) {
  std::mt19937 random(7);
  // Both sides of the size at which the algorithm changes; few different dates make ties.
  for (const std::size_t size : {1u, 2u, 50u, 1'999u, 2'000u, 2'001u, 6'000u}) {
    for (const int dates : {3, 1'000'000'000}) {
      std::vector<AgentSession> sessions;
      for (std::size_t i = 0; i < size; ++i) {
        const auto status = allCases<SessionStatus>()[random() % 5];
        const double date = static_cast<double>(random() % static_cast<unsigned>(dates)) * 0.37;
        sessions.push_back(makeSession(std::to_string(i), status, random() % 2 ? date : -date));
      }
      const auto sorted = SessionSnapshot(sessions, Date{}).sorted();
      std::ranges::stable_sort(sessions, {}, [](const AgentSession& session) {
        return std::pair(sortRank(session.status), -session.updatedAt.time_since_epoch());
      });
      EXPECT_EQ(idsOf(sorted), idsOf(sessions)) << size << " of " << dates;
    }
  }
}

TEST(SnapshotLead, LeadOthersAndSummaryFollowTheCounts) {
  using Text = std::string;
  const std::tuple<SnapshotLead, std::int64_t, SessionStatus, Text, Text, Text> rows[] = {
      {{1, 2, 3, 0, 6},
       1,
       waitingForInput,
       "needs you",
       "2 working · 3 finished",
       "1 needs you · 2 working · 3 finished"},
      {{2, 0, 0, 1, 3}, 2, waitingForInput, "need you", "1 failed", "2 need you · 1 failed"},
      {{0, 0, 2, 1, 3}, 1, failed, "failed", "2 finished", "1 failed · 2 finished"},
      {{0, 0, 0, 0, 2}, 0, finished, "finished", "", "0 finished"},
      {{0, 0, 0, 0, 0}, 0, finished, "sessions", "", "No sessions"},
      // The numbers are taken as given, sums that do not fit included.
      {{0, 1, 0, 0, 0}, 1, working, "working", "", "No sessions"},
      {{-1, -2, -3, -4, -5}, -3, finished, "finished", "", "-3 finished"},
      {{1, 1, 1, 1, 4},
       1,
       waitingForInput,
       "needs you",
       "1 working · 1 failed · 1 finished",
       "1 needs you · 1 working · 1 failed · 1 finished"},
  };
  for (const auto& [lead, count, status, label, others, summary] : rows) {
    EXPECT_EQ(lead.count(), count) << summary;
    EXPECT_EQ(lead.status(), status) << summary;
    EXPECT_EQ(lead.label(), label) << summary;
    EXPECT_EQ(lead.others(), others) << summary;
    EXPECT_EQ(lead.isEmpty(), summary == "No sessions") << others;
    EXPECT_EQ(lead.summary(), summary);
  }
}

SessionSnapshot of(std::vector<AgentSession> sessions) { return {std::move(sessions), Date{}}; }

TEST(SessionTransition, EveryPairOfStatusesWithAndWithoutANewPrompt) {
  for (const SessionStatus before : allCases<SessionStatus>()) {
    for (const SessionStatus now : allCases<SessionStatus>()) {
      for (const bool newPrompt : {false, true}) {
        AgentSession session = makeSession("s", now, 5);
        if (newPrompt) session = withPrompt(session, "p");
        const auto found = SessionTransition::detect(of({makeSession("s", before)}), of({session}));
        const bool expected = needsAttention(now) && (!needsAttention(before) || newPrompt);
        ASSERT_EQ(found.size(), expected ? 1u : 0u)
            << rawValue(before) << " to " << rawValue(now) << (newPrompt ? " with prompt" : "");
        if (!expected) continue;
        EXPECT_EQ(found[0].session, session);
        EXPECT_EQ(found[0].from, before);
      }
    }
  }
}

TEST(SessionTransition, MatchesByIdAloneAndTellsPromptsApartByTheirs) {
  const auto waiting = [](const char* prompt, const char* detail = "ls") {
    return withPrompt(makeSession("s", waitingForInput), prompt, detail);
  };
  const AgentSession bare = makeSession("s", waitingForInput);
  const AgentSession works = makeSession("s", working), failure = makeSession("s", failed);
  const AgentSession codex = makeSession("s", finished, 0, AgentProvider::codex);
  using From = std::optional<SessionStatus>;
  const std::tuple<const char*, std::vector<AgentSession>, AgentSession, From> rows[] = {
      {"another prompt", {waiting("1")}, waiting("2"), waitingForInput},
      {"the same with other words", {waiting("1", "ls")}, waiting("1", "rm"), std::nullopt},
      {"an empty id is an id", {waiting("1")}, waiting(""), waitingForInput},
      {"the prompt went away", {waiting("1")}, bare, std::nullopt},
      {"another agent", {works}, codex, working},
      {"the last of one id worked", {failure, works}, codex, working},
      {"the last of one id had failed", {works, failure}, codex, std::nullopt},
  };
  for (const auto& [reason, before, now, from] : rows) {
    const auto found = SessionTransition::detect(of(before), of({now}));
    EXPECT_EQ(found.empty() ? std::nullopt : From(found[0].from), from) << reason;
  }
}

TEST(SessionTransition, NewAndVanishedSessionsAreNoneAndListOrderIsKept) {
  const SessionSnapshot before =
      of({makeSession("a"), makeSession("b"), makeSession("gone", working), makeSession("c")});
  const SessionSnapshot now =
      of({makeSession("c", finished), makeSession("new", waitingForInput),
          makeSession("a", waitingForInput), makeSession("b", failed), makeSession("a", finished)});
  std::vector<AgentSession> found;
  for (const auto& transition : SessionTransition::detect(before, now))
    found.push_back(transition.session);
  EXPECT_EQ(idsOf(found), (std::vector<std::string>{"c", "a", "b", "a"}));
  EXPECT_TRUE(SessionTransition::detect(SessionSnapshot::empty(), now).empty());
}

}  // namespace
}  // namespace idlewyn

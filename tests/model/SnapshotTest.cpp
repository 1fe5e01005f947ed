// SPDX-License-Identifier: MIT
#include <algorithm>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/model/SessionSnapshot.hpp>
#include <tests/support/Sessions.hpp>

namespace idlewyn {
namespace {

using testing::makeSession;
using enum SessionStatus;

std::vector<std::string> ids(const std::vector<AgentSession>& sessions) {
  std::vector<std::string> result;
  for (const AgentSession& session : sessions)
    result.push_back(session.id);
  return result;
}

// The rule as it is said, by the standard library's stable sort.
std::vector<std::string> expectedOrder(std::vector<AgentSession> sessions) {
  std::stable_sort(sessions.begin(), sessions.end(), [](const auto& a, const auto& b) {
    if (sortRank(a.status) != sortRank(b.status)) return sortRank(a.status) < sortRank(b.status);
    return a.updatedAt > b.updatedAt;
  });
  return ids(sessions);
}

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
  EXPECT_EQ(ids(snapshot.sessionsFor(codex)), (std::vector<std::string>{"b", "d"}));

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
  EXPECT_EQ(ids(snapshot.sorted()),
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
      const SessionSnapshot snapshot(sessions, Date{});
      EXPECT_EQ(ids(snapshot.sorted()), expectedOrder(sessions)) << size << " of " << dates;
    }
  }
}

TEST(SnapshotLead, LeadOthersAndSummaryFollowTheCounts) {
  struct Row {
    std::int64_t waiting, working, finished, failed, total;
    std::int64_t count;
    SessionStatus status;
    std::string label, others, summary;
  };
  const std::vector<Row> rows{
      {1, 2, 3, 0, 6, 1, waitingForInput, "needs you", "2 working · 3 finished",
       "1 needs you · 2 working · 3 finished"},
      {2, 0, 0, 1, 3, 2, waitingForInput, "need you", "1 failed", "2 need you · 1 failed"},
      {0, 0, 2, 1, 3, 1, failed, "failed", "2 finished", "1 failed · 2 finished"},
      {0, 0, 0, 0, 2, 0, finished, "finished", "", "0 finished"},
      {0, 0, 0, 0, 0, 0, finished, "sessions", "", "No sessions"},
      // The numbers are taken as given, sums that do not fit included.
      {0, 1, 0, 0, 0, 1, working, "working", "", "No sessions"},
      {-1, -2, -3, -4, -5, -3, finished, "finished", "", "-3 finished"},
      {1, 1, 1, 1, 4, 1, waitingForInput, "needs you", "1 working · 1 failed · 1 finished",
       "1 needs you · 1 working · 1 failed · 1 finished"},
  };
  for (const Row& row : rows) {
    const SnapshotLead lead(row.waiting, row.working, row.finished, row.failed, row.total);
    EXPECT_EQ(lead.count, row.count) << row.summary;
    EXPECT_EQ(lead.status, row.status) << row.summary;
    EXPECT_EQ(lead.label, row.label) << row.summary;
    EXPECT_EQ(lead.others, row.others) << row.summary;
    EXPECT_EQ(lead.isEmpty, row.total == 0) << row.summary;
    EXPECT_EQ(lead.summary(), row.summary);
  }
}

}  // namespace
}  // namespace idlewyn

// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/demo/DemoSessions.hpp>

namespace idlewyn {
namespace {

using enum SessionStatus;
using platform::dateFromSecondsSince1970;

TEST(DemoSessions, KnownInstant) {
  const Date at = dateFromSecondsSince1970(1'700'000'000);
  struct Row {
    AgentProvider provider;
    const char *id, *title, *directory;
    int position;  // seconds since the start
    SessionStatus status;
    std::optional<std::string> activity;
    std::optional<std::int64_t> done;
    int updated;  // so many seconds ago
  };
  using enum AgentProvider;
  const std::vector<Row> rows{
      {claude, "demo-claude-0", "Refactor auth middleware", "~/Developer/api", 50, working,
       "Edit: Sources/Auth/Middleware.swift", 1, 10},
      {claude, "demo-claude-1", "Write widget snapshot tests", "~/Developer/Vantor", 67, working,
       "Bash: tuist test", 1, 7},
      {claude, "demo-claude-2", "Fix flaky CI job", "~/Developer/infra", 174, waitingForInput,
       std::nullopt, 3, 14},
      {codex, "demo-codex-0", "Migrate to Swift 6", "~/Developer/ios-app", 80, working,
       "shell: rg -l Sendable", std::nullopt, 0},
      {codex, "demo-codex-1", "Profile image pipeline", "~/Developer/media", 127, working,
       "shell: instruments -t 'Time Profiler'", std::nullopt, 7},
  };
  std::vector<AgentSession> expected;
  for (const Row& row : rows) {
    const Date started = at - std::chrono::seconds(row.position);
    const auto total = row.done ? std::optional<std::int64_t>(4) : std::nullopt;
    expected.emplace_back(row.id, row.provider, row.title, row.directory, row.status, started,
                          at - std::chrono::seconds(row.updated), std::nullopt, std::nullopt,
                          row.activity, started, row.done, total);
  }
  expected[2].summary = "Allow Bash: swift package resolve?";
  expected[2].permission =
      PermissionPrompt("demo-claude-2-6296296", "Bash", "swift package resolve",
                       expected[2].startedAt, "Bash(swift package resolve)");
  auto sessions = DemoSessions::sessions(claude, at);
  EXPECT_EQ(sessions.size(), 3u);
  std::ranges::move(DemoSessions::sessions(codex, at), std::back_inserter(sessions));
  EXPECT_EQ(sessions, expected);
}

TEST(DemoSessions, PhasesBeginAtSixAndSevenTenthsOfTheCycle) {
  struct Row {
    double position;
    SessionStatus status;
  };
  // The first Claude Code session has a period of 150 s and no stagger.
  for (const Row& row : {Row{0, working}, Row{89.75, working}, Row{90, waitingForInput},
                         Row{104.75, waitingForInput}, Row{105, finished}, Row{149.75, finished}}) {
    const Date at = dateFromSecondsSince1970(150.0 * 1'000'000 + row.position);
    const AgentSession session = DemoSessions::sessions(AgentProvider::claude, at)[0];
    EXPECT_EQ(session.status, row.status) << row.position;
    EXPECT_EQ(session.activity.has_value(), row.status == working);
    EXPECT_EQ(session.summary.has_value(), row.status == waitingForInput);
    EXPECT_TRUE(session.turnStartedAt.has_value());
  }
}

TEST(DemoSessions, OneDayOfSecondsKeepsItsPromises) {
  std::set<SessionStatus> seen;
  std::set<std::string> promptIDs;
  for (int second = 0; second < 86'400; second += 3) {
    const Date at = dateFromSecondsSince1970(1'760'000'000.0 + second);
    for (const AgentProvider provider : allCases<AgentProvider>()) {
      const auto sessions = DemoSessions::sessions(provider, at);
      ASSERT_EQ(sessions, DemoSessions::sessions(provider, at));
      for (const AgentSession& session : sessions) {
        seen.insert(session.status);
        const bool waiting = session.status == waitingForInput;
        ASSERT_EQ(session.permission.has_value(), waiting && provider == AgentProvider::claude);
        ASSERT_LE(session.startedAt, at);
        ASSERT_LE(session.taskDone.value_or(0), 4);
        if (session.permission) promptIDs.insert(session.permission->id);
      }
    }
  }
  EXPECT_EQ(seen, (std::set<SessionStatus>{working, waitingForInput, finished}));
  // One prompt a period and session: 576, 411 and 320 periods of the three, give or take one.
  EXPECT_NEAR(static_cast<double>(promptIDs.size()), 576 + 411 + 320, 3);
}

TEST(DemoSessions, TimesWithoutSenseStillGiveSessions) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  for (const double time : {-1.0, -1e9, -6.3e10, 1e300, infinity, -infinity, std::nan("")}) {
    for (const AgentProvider provider : allCases<AgentProvider>()) {
      for (const AgentSession& session :
           DemoSessions::sessions(provider, dateFromSecondsSince1970(time))) {
        EXPECT_TRUE(std::isfinite(platform::secondsSinceReferenceDate(session.startedAt))) << time;
        EXPECT_EQ(session.activity.has_value(), session.status == working) << time;
      }
    }
  }
}

}  // namespace
}  // namespace idlewyn

// SPDX-License-Identifier: MIT
#include <cmath>
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

double secondsBefore(Date at, Date earlier) { return (at - earlier).count(); }

TEST(DemoSessions, KnownInstant) {
  const Date at = dateFromSecondsSince1970(1'700'000'000);
  struct Row {
    AgentProvider provider;
    std::size_t index;
    const char *id, *title, *directory;
    double position;
    SessionStatus status;
    const char* activity;
    std::optional<std::int64_t> done;
    double updated;
  };
  const auto claude = AgentProvider::claude;
  const auto codex = AgentProvider::codex;
  const std::vector<Row> rows{
      {claude, 0, "demo-claude-0", "Refactor auth middleware", "~/Developer/api", 50, working,
       "Edit: Sources/Auth/Middleware.swift", 1, 10},
      {claude, 1, "demo-claude-1", "Write widget snapshot tests", "~/Developer/Vantor", 67, working,
       "Bash: tuist test", 1, 7},
      {claude, 2, "demo-claude-2", "Fix flaky CI job", "~/Developer/infra", 174, waitingForInput,
       nullptr, 3, 14},
      {codex, 0, "demo-codex-0", "Migrate to Swift 6", "~/Developer/ios-app", 80, working,
       "shell: rg -l Sendable", std::nullopt, 0},
      {codex, 1, "demo-codex-1", "Profile image pipeline", "~/Developer/media", 127, working,
       "shell: instruments -t 'Time Profiler'", std::nullopt, 7},
  };
  EXPECT_EQ(DemoSessions::sessions(claude, at).size(), 3u);
  EXPECT_EQ(DemoSessions::sessions(codex, at).size(), 2u);
  for (const Row& row : rows) {
    const AgentSession session = DemoSessions::sessions(row.provider, at)[row.index];
    EXPECT_EQ(session.id, row.id);
    EXPECT_EQ(session.provider, row.provider);
    EXPECT_EQ(session.title, row.title);
    EXPECT_EQ(session.workingDirectory, row.directory);
    EXPECT_EQ(session.status, row.status) << row.id;
    EXPECT_EQ(secondsBefore(at, session.startedAt), row.position) << row.id;
    EXPECT_EQ(session.turnStartedAt, session.startedAt) << row.id;
    EXPECT_EQ(secondsBefore(at, session.updatedAt), row.updated) << row.id;
    EXPECT_EQ(session.activity,
              row.activity ? std::optional<std::string>(row.activity) : std::nullopt);
    EXPECT_EQ(session.taskDone, row.done) << row.id;
    EXPECT_EQ(session.taskTotal, row.done ? std::optional<std::int64_t>(4) : std::nullopt);
  }
  const AgentSession waiting = DemoSessions::sessions(claude, at)[2];
  EXPECT_EQ(waiting.summary, "Allow Bash: swift package resolve?");
  EXPECT_EQ(waiting.permission,
            PermissionPrompt("demo-claude-2-6296296", "Bash", "swift package resolve",
                             waiting.startedAt, "Bash(swift package resolve)"));
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

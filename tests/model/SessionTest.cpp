// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <limits>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include <IdlewynKit/demo/DemoSessions.hpp>
#include <IdlewynKit/model/PushTokenRegistration.hpp>
#include <tests/support/Sessions.hpp>

namespace idlewyn {
namespace {

using testing::makeSession;
using enum SessionStatus;

TEST(AgentProvider, NamesAreThoseThatPeopleAndTheWireKnow) {
  using Facts = std::array<std::string_view, 5>;
  const std::vector<Facts> expected{
      {"claude", "claude", "Claude Code", "Claude", "sparkle"},
      {"codex", "codex", "Codex", "Codex", "chevron.left.forwardslash.chevron.right"}};
  std::vector<Facts> found;
  for (const AgentProvider agent : allCases<AgentProvider>()) {
    found.push_back(
        {rawValue(agent), id(agent), displayName(agent), shortName(agent), symbolName(agent)});
  }
  EXPECT_EQ(found, expected);
}

TEST(SessionStatus, FactsOfEveryCaseInDeclarationOrder) {
  using Text = std::string_view;
  using Facts = std::tuple<SessionStatus, Text, Text, Text, std::int64_t, bool, bool>;
  // Behind the texts the rank, and whether it needs attention and is working.
  const std::vector<Facts> expected{
      {working, "working", "Working", "circle.dotted.circle", 1, false, true},
      {waitingForInput, "waitingForInput", "Needs input", "hand.raised.fill", 0, true, false},
      {finished, "finished", "Finished", "checkmark.circle.fill", 3, true, false},
      {failed, "failed", "Failed", "exclamationmark.triangle.fill", 2, true, false},
      {idle, "idle", "Idle", "moon.zzz.fill", 4, false, false}};
  std::vector<Facts> found;
  for (const SessionStatus status : allCases<SessionStatus>()) {
    found.emplace_back(status, rawValue(status), label(status), symbolName(status),
                       sortRank(status), needsAttention(status), isWorking(status));
  }
  EXPECT_EQ(found, expected);
}

template <class E>
void expectTexts(E value, std::string_view right, const std::vector<std::string_view>& wrong) {
  EXPECT_EQ(fromRawValue<E>(right), value);
  for (const std::string_view text : wrong)
    EXPECT_EQ(fromRawValue<E>(text), std::nullopt) << text;
}

TEST(RawValues, MatchTheWholeTextExactly) {
  using Kind = PushTokenRegistration::Kind;
  expectTexts(AgentProvider::codex, "codex", {"", "Claude", "claude ", " claude", "claudecodex"});
  expectTexts(waitingForInput, "waitingForInput", {"", "Working", "waitingforinput", "unknown"});
  expectTexts(PermissionDecision::always, "always", {"Allow", "ALWAYS", ""});
  expectTexts(PermissionDecision::deny, "deny", {});
  expectTexts(PermissionDecision::allow, "allow", {});
  expectTexts(Kind::pushToStart, "pushToStart", {"alert"});
}

TEST(AgentSession, RunsAndActsOnlyWhileWorking) {
  const Date turn = platform::dateFromReferenceSeconds(12.5);
  for (const SessionStatus status : allCases<SessionStatus>()) {
    AgentSession session = makeSession("s", status);
    session.activity = "Edit: main.cpp";
    EXPECT_EQ(session.runningSince(), std::nullopt);
    session.turnStartedAt = turn;
    const bool busy = status == working;
    EXPECT_EQ(session.runningSince(), busy ? std::optional(turn) : std::nullopt);
    EXPECT_EQ(session.currentActivity(), busy ? session.activity : std::nullopt);
    session.activity = "";
    EXPECT_EQ(session.currentActivity(), std::nullopt);
  }
}

TEST(AgentSession, TaskProgressNeedsATotalAndIsNotClamped) {
  using Count = std::optional<std::int64_t>;
  const std::vector<std::tuple<Count, Count, std::optional<TaskProgress>>> rows{
      {3, std::nullopt, std::nullopt}, {3, 0, std::nullopt},
      {3, -4, std::nullopt},           {std::nullopt, 5, TaskProgress(0, 5)},
      {7, 5, TaskProgress(7, 5)},      {-2, 1, TaskProgress(-2, 1)},
  };
  for (const auto& [done, total, expected] : rows) {
    AgentSession session = makeSession("s");
    session.taskDone = done;
    session.taskTotal = total;
    EXPECT_EQ(session.taskProgress(), expected) << total.value_or(-1);
  }
}

TEST(AgentSession, SummaryOfBlanksIsShownAndAnEmptyOneIsNot) {
  AgentSession session = makeSession("s", finished);
  session.summary = "";
  EXPECT_EQ(session.displaySummary(), std::nullopt);
  session.summary = "  ";
  EXPECT_EQ(session.displaySummary(), "  ");
}

TEST(AgentSession, ProjectIsTheLastPathComponentOrTheTitle) {
  const std::vector<std::pair<std::optional<std::string>, std::string>> rows{
      {std::nullopt, "title"},
      {"", "title"},
      {"/home/me/src/app", "app"},
      {"/home/me/src/app/", "app"},
      {"app", "app"},
      {"/", "/"},
      {"//", "/"},
      {"/a b/ü%20c", "ü%20c"},
      {"/tmp/.", "."},
  };
  for (const auto& [directory, expected] : rows) {
    AgentSession session = makeSession("s");
    session.workingDirectory = directory;
    EXPECT_EQ(session.projectName(), expected) << directory.value_or("(absent)");
  }
}

using platform::dateFromSecondsSince1970;

TEST(DemoSessions, KnownInstant) {
  const Date at = dateFromSecondsSince1970(1'700'000'000);
  const auto ago = [&](int seconds) { return at - std::chrono::seconds(seconds); };
  constexpr auto none = std::nullopt;
  const PermissionPrompt prompt("demo-claude-2-6296296", "Bash", "swift package resolve", ago(174),
                                "Bash(swift package resolve)");
  using enum AgentProvider;
  const std::vector<AgentSession> expected{
      {"demo-claude-0", claude, "Refactor auth middleware", "~/Developer/api", working, ago(50),
       ago(10), none, none, "Edit: Sources/Auth/Middleware.swift", ago(50), 1, 4},
      {"demo-claude-1", claude, "Write widget snapshot tests", "~/Developer/Vantor", working,
       ago(67), ago(7), none, none, "Bash: tuist test", ago(67), 1, 4},
      {"demo-claude-2", claude, "Fix flaky CI job", "~/Developer/infra", waitingForInput, ago(174),
       ago(14), "Allow Bash: swift package resolve?", prompt, none, ago(174), 3, 4},
      {"demo-codex-0", codex, "Migrate to Swift 6", "~/Developer/ios-app", working, ago(80), ago(0),
       none, none, "shell: rg -l Sendable", ago(80), none, none},
      {"demo-codex-1", codex, "Profile image pipeline", "~/Developer/media", working, ago(127),
       ago(7), none, none, "shell: instruments -t 'Time Profiler'", ago(127), none, none}};
  auto sessions = DemoSessions::sessions(claude, at);
  EXPECT_EQ(sessions.size(), 3u);
  std::ranges::move(DemoSessions::sessions(codex, at), std::back_inserter(sessions));
  EXPECT_EQ(sessions, expected);
}

TEST(DemoSessions, PhasesBeginAtSixAndSevenTenthsOfTheCycle) {
  // The first Claude Code session has a period of 150 s and no stagger.
  const std::pair<double, SessionStatus> rows[] = {{0, working},          {89.75, working},
                                                   {90, waitingForInput}, {104.75, waitingForInput},
                                                   {105, finished},       {149.75, finished}};
  for (const auto& [position, status] : rows) {
    const Date at = dateFromSecondsSince1970(150.0 * 1'000'000 + position);
    const AgentSession session = DemoSessions::sessions(AgentProvider::claude, at)[0];
    EXPECT_EQ(session.status, status) << position;
    EXPECT_EQ(session.activity.has_value(), status == working);
    EXPECT_EQ(session.summary.has_value(), status == waitingForInput);
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

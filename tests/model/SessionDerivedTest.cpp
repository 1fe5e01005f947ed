// SPDX-License-Identifier: MIT
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/model/AgentSession.hpp>
#include <tests/support/Sessions.hpp>

namespace idlewyn {
namespace {

using testing::makeSession;
using enum SessionStatus;

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

}  // namespace
}  // namespace idlewyn

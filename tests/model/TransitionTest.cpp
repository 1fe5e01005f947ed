// SPDX-License-Identifier: MIT
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/model/SessionTransition.hpp>
#include <tests/support/Sessions.hpp>

namespace idlewyn {
namespace {

using testing::makeSession;
using testing::withPrompt;
using enum SessionStatus;

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

TEST(SessionTransition, OnlyThePromptsIdTellsItApart) {
  const auto waiting = [](const char* prompt, const char* detail = "ls") {
    return withPrompt(makeSession("s", waitingForInput), prompt, detail);
  };
  const AgentSession bare = makeSession("s", waitingForInput);
  const std::tuple<const char*, AgentSession, AgentSession, bool> rows[] = {
      {"another prompt", waiting("1"), waiting("2"), true},
      {"the same with other words", waiting("1", "ls"), waiting("1", "rm"), false},
      {"an empty id is an id", waiting("1"), waiting(""), true},
      {"the prompt went away", waiting("1"), bare, false},
  };
  for (const auto& [reason, before, now, expected] : rows) {
    const auto found = SessionTransition::detect(of({before}), of({now}));
    ASSERT_EQ(found.size(), expected ? 1u : 0u) << reason;
    for (const auto& transition : found)
      EXPECT_EQ(transition.from, waitingForInput) << reason;
  }
}

TEST(SessionTransition, MatchesByIdAloneTheLastDuplicateCounting) {
  const AgentSession codexNow = makeSession("s", finished, 0, AgentProvider::codex);
  EXPECT_EQ(SessionTransition::detect(of({makeSession("s", working)}), of({codexNow})).size(), 1u);

  const SessionSnapshot workedLast = of({makeSession("s", failed), makeSession("s", working)});
  const SessionSnapshot workedFirst = of({makeSession("s", working), makeSession("s", failed)});
  EXPECT_EQ(SessionTransition::detect(workedLast, of({codexNow})).size(), 1u);
  EXPECT_TRUE(SessionTransition::detect(workedFirst, of({codexNow})).empty());
}

TEST(SessionTransition, NewAndVanishedSessionsAreNoneAndListOrderIsKept) {
  const SessionSnapshot before =
      of({makeSession("a"), makeSession("b"), makeSession("gone", working), makeSession("c")});
  const SessionSnapshot now =
      of({makeSession("c", finished), makeSession("new", waitingForInput),
          makeSession("a", waitingForInput), makeSession("b", failed), makeSession("a", finished)});
  std::vector<std::string> found;
  for (const auto& transition : SessionTransition::detect(before, now)) {
    found.push_back(transition.session.id);
  }
  EXPECT_EQ(found, (std::vector<std::string>{"c", "a", "b", "a"}));
  EXPECT_TRUE(SessionTransition::detect(SessionSnapshot::empty(), now).empty());
}

}  // namespace
}  // namespace idlewyn

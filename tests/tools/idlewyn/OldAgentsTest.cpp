// SPDX-License-Identifier: MIT
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/Sessions.hpp>
#include <tools/idlewyn/sessions/OldAgents.hpp>
#include <tools/idlewyn/sessions/SharedSnapshot.hpp>

namespace idlewyn::command {
namespace {

constexpr auto claude = AgentProvider::claude, codex = AgentProvider::codex;
constexpr auto waiting = SessionStatus::waitingForInput, working = SessionStatus::working;

AgentSession session(AgentProvider provider, SessionStatus status) {
  return idlewyn::testing::makeSession(std::string(rawValue(provider)), status, 0, provider);
}

Date after(double seconds) { return Date{} + Date::duration(seconds); }

TEST(OldAgents, AreNotCountedAsNeedingAnybody) {
  const OldAgents codexIsOld{{codex, after(0)}}, bothAreOld{{claude, after(0)}, {codex, after(0)}};
  const std::tuple<std::vector<AgentSession>, OldAgents, std::string> rows[] = {
      {{session(claude, waiting), session(codex, waiting)}, {}, "2 need you"},
      {{session(claude, waiting), session(codex, waiting)},
       codexIsOld,
       "1 needs you, and 1 of Codex's 5 minutes ago"},
      {{session(claude, working), session(codex, waiting)},
       codexIsOld,
       "1 working, and 1 of Codex's needed you 5 minutes ago"},
      {{session(codex, waiting)},
       codexIsOld,
       "Nothing is live, and 1 of Codex's needed you 5 minutes ago"},
      {{session(codex, working)}, bothAreOld, "Nothing is live"},
      {{}, bothAreOld, "No sessions"},
  };
  for (const auto& [sessions, old, summary] : rows)
    EXPECT_EQ(summaryOf(SessionSnapshot(sessions, after(0)), old, after(300)), summary);
}

TEST(OldAgents, ComeLastWithAgesThatStandStill) {
  const OldAgents old{{claude, after(100)}};
  const SessionSnapshot snapshot({session(claude, waiting), session(codex, working)}, after(0));
  EXPECT_EQ(inDisplayOrder(snapshot, old).front().provider, codex);
  EXPECT_EQ(ageBase(snapshot.sessions[0], old, after(500)), after(100));
  EXPECT_EQ(ageBase(snapshot.sessions[1], old, after(500)), after(500));
}

TEST(OldAgents, AreThoseThatFailedOrWereNotAskedForFiveMinutes) {
  LastSeen seen{SessionSnapshot({}, after(0)), {{claude, after(0)}, {codex, after(200)}}};
  EXPECT_TRUE(seen.oldAgents(after(300)).empty());
  EXPECT_EQ(seen.oldAgents(after(301)), (OldAgents{{claude, after(0)}}));
  seen.errors.emplace(codex, AgentErrorRecord(codex, interruption()));
  EXPECT_EQ(seen.oldAgents(after(201)), (OldAgents{{codex, after(200)}}));
}

TEST(OldAgents, AreDatedInWords) {
  const std::pair<double, std::string> rows[] = {
      {-5, "0 seconds ago"},    {1.9, "1 second ago"}, {59, "59 seconds ago"}, {60, "1 minute ago"},
      {3599, "59 minutes ago"}, {7200, "2 hours ago"}, {172800, "2 days ago"},
  };
  for (const auto& [seconds, text] : rows)
    EXPECT_EQ(agoText(seconds), text);
}

}  // namespace
}  // namespace idlewyn::command

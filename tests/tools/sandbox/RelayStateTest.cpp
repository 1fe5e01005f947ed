// SPDX-License-Identifier: MIT
#include <map>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include <tools/sandbox-relay/RelayState.hpp>

namespace idlewyn::sandbox {
namespace {

using enum SessionStatus;
using std::chrono::duration;
using std::chrono::seconds;

class RelayStateTest : public testing::Test {
 protected:
  PairingOutcome pair(AgentProvider provider, const std::string& code) {
    return state_.pair(provider, code).outcome;
  }

  Date now_ = platform::dateFromReferenceSeconds(800'000'000);
  RelayState state_{[this] { return now_; }};
};

TEST_F(RelayStateTest, CodesServeOnceForEachAgentAndForFiveMinutes) {
  const std::string code = state_.makeCode();
  EXPECT_EQ(code.size(), 8u);
  EXPECT_EQ(code.find_first_of("0O1I"), std::string::npos) << code;
  now_ += seconds(299);
  EXPECT_EQ(pair(AgentProvider::claude, code), PairingOutcome::paired);
  EXPECT_EQ(pair(AgentProvider::claude, code), PairingOutcome::wrongCode);
  EXPECT_EQ(pair(AgentProvider::codex, code), PairingOutcome::paired);
  const std::string late = state_.makeCode();
  now_ += seconds(300);
  EXPECT_EQ(pair(AgentProvider::claude, late), PairingOutcome::wrongCode);
}

TEST_F(RelayStateTest, FiveWrongCodesInARowLockPairingForAMinute) {
  const std::string code = state_.makeCode();
  const auto failTimes = [&](int count) {
    for (int i = 0; i < count; ++i)
      EXPECT_EQ(pair(AgentProvider::codex, ""), PairingOutcome::wrongCode);
  };
  failTimes(4);
  EXPECT_EQ(pair(AgentProvider::codex, code), PairingOutcome::paired) << "that counts anew";
  failTimes(5);
  EXPECT_EQ(pair(AgentProvider::claude, code), PairingOutcome::tooManyAttempts);
  now_ += seconds(59);
  EXPECT_EQ(pair(AgentProvider::claude, code), PairingOutcome::tooManyAttempts);
  now_ += seconds(1);
  EXPECT_EQ(pair(AgentProvider::claude, code), PairingOutcome::paired);
}

TEST_F(RelayStateTest, SessionsOfBothAgentsMoveThroughEveryStateAsTimePasses) {
  std::map<AgentProvider, std::set<SessionStatus>> seen;
  for (int i = 0; i < 300; ++i, now_ += seconds(1)) {
    for (const AgentSession& session : state_.sessions(std::nullopt)) {
      seen[session.provider].insert(session.status);
      EXPECT_EQ(session.permission.has_value(), session.status == waitingForInput);
      EXPECT_EQ(session.activity.has_value(), session.status == working);
      EXPECT_LE(session.updatedAt, now_);
      EXPECT_LE(session.taskDone.value_or(0), session.taskTotal.value_or(0));
      // A prompt stays until it is answered: answer it after half a minute.
      if (session.permission && session.permission->createdAt + seconds(30) <= now_) {
        EXPECT_TRUE(state_.decide(session.permission->id, PermissionDecision::allow));
      }
    }
  }
  using Statuses = std::set<SessionStatus>;
  EXPECT_EQ(seen[AgentProvider::claude], (Statuses{working, waitingForInput, finished, idle}));
  EXPECT_EQ(seen[AgentProvider::codex], (Statuses{working, waitingForInput, finished, failed}));
}

TEST_F(RelayStateTest, HowOftenTheClockIsReadChangesNothing) {
  RelayState once([this] { return now_; });
  for (int i = 0; i < 200; ++i, now_ += duration<double>(0.5))
    state_.sessions(std::nullopt);
  EXPECT_EQ(once.sessions(std::nullopt), state_.sessions(std::nullopt));
}

TEST_F(RelayStateTest, AnAnsweredPromptIsGoneAndItsSessionGoesOn) {
  const std::tuple<PermissionDecision, SessionStatus, bool> rows[] = {
      {PermissionDecision::allow, working, true},
      {PermissionDecision::always, working, false},
      {PermissionDecision::deny, failed, true}};
  for (const auto& [decision, after, asksAgain] : rows) {
    RelayState state([this] { return now_; });
    const auto status = [&] { return state.sessions(AgentProvider::claude).front().status; };
    now_ += seconds(10);
    const auto prompt = state.sessions(AgentProvider::claude).front().permission;
    ASSERT_TRUE(prompt && prompt->alwaysRule);
    EXPECT_FALSE(state.decide("other", decision));
    EXPECT_TRUE(state.decide(prompt->id, decision));
    EXPECT_FALSE(state.decide(prompt->id, decision)) << "answered already";
    EXPECT_EQ(state.decisions(), std::vector<Decision>{Decision(prompt->id, decision)});
    EXPECT_EQ(status(), after);
    now_ += seconds(31);
    EXPECT_EQ(status(), working);
    now_ += seconds(1'000'000);
    EXPECT_EQ(status() == waitingForInput, asksAgain);
  }
}

TEST_F(RelayStateTest, KeepsPushTokensUntilTheirOwnerLeaves) {
  const std::string owner = state_.issueToken(AgentProvider::claude);
  const std::string other = state_.issueToken(AgentProvider::codex);
  PushTokenRegistration activity("phone", PushTokenRegistration::Kind::activity, {1}, "e", "key");
  PushTokenRegistration start = activity;
  start.kind = PushTokenRegistration::Kind::pushToStart;
  state_.keepPushToken(owner, activity);
  state_.keepPushToken(other, start);
  activity.pushKey = std::nullopt;
  state_.keepPushToken(owner, activity);
  EXPECT_EQ(state_.pushTokens(), (std::vector{start, activity}));
  state_.unpair(owner);
  EXPECT_EQ(state_.pushTokens(), std::vector{start});
  EXPECT_FALSE(state_.isValid(owner));
  EXPECT_TRUE(state_.isValid(other));
}

}  // namespace
}  // namespace idlewyn::sandbox

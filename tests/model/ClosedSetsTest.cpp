// SPDX-License-Identifier: MIT
#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/model/AgentProvider.hpp>
#include <IdlewynKit/model/PermissionPrompt.hpp>
#include <IdlewynKit/model/SessionStatus.hpp>
#include <IdlewynKit/push/PushTokenRegistration.hpp>

namespace idlewyn {
namespace {

using enum SessionStatus;

// Whether a type can be iterated is part of its interface.
template <class E>
concept Iterable = requires {
  allCases<E>();
};
static_assert(Iterable<AgentProvider> && Iterable<SessionStatus>);
static_assert(!Iterable<PermissionDecision> && !Iterable<PushTokenRegistration::Kind>);

TEST(AgentProvider, NamesAreThoseThatPeopleAndTheWireKnow) {
  struct Row {
    AgentProvider provider;
    std::string_view raw, display, brief, symbol;
  };
  const std::vector<Row> rows{
      {AgentProvider::claude, "claude", "Claude Code", "Claude", "sparkle"},
      {AgentProvider::codex, "codex", "Codex", "Codex", "chevron.left.forwardslash.chevron.right"},
  };
  ASSERT_EQ(allCases<AgentProvider>().size(), rows.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const AgentProvider provider = rows[i].provider;
    EXPECT_EQ(allCases<AgentProvider>()[i], provider);
    EXPECT_EQ(rawValue(provider), rows[i].raw);
    EXPECT_EQ(id(provider), rows[i].raw);
    EXPECT_EQ(displayName(provider), rows[i].display);
    EXPECT_EQ(shortName(provider), rows[i].brief);
    EXPECT_EQ(symbolName(provider), rows[i].symbol);
  }
}

TEST(SessionStatus, FactsOfEveryCaseInDeclarationOrder) {
  struct Row {
    SessionStatus status;
    std::string_view raw, label, symbol;
    std::int64_t rank;
    bool attention, working;
  };
  const std::vector<Row> rows{
      {working, "working", "Working", "circle.dotted.circle", 1, false, true},
      {waitingForInput, "waitingForInput", "Needs input", "hand.raised.fill", 0, true, false},
      {finished, "finished", "Finished", "checkmark.circle.fill", 3, true, false},
      {failed, "failed", "Failed", "exclamationmark.triangle.fill", 2, true, false},
      {idle, "idle", "Idle", "moon.zzz.fill", 4, false, false},
  };
  ASSERT_EQ(allCases<SessionStatus>().size(), rows.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const SessionStatus status = rows[i].status;
    EXPECT_EQ(allCases<SessionStatus>()[i], status);
    EXPECT_EQ(rawValue(status), rows[i].raw);
    EXPECT_EQ(label(status), rows[i].label);
    EXPECT_EQ(symbolName(status), rows[i].symbol);
    EXPECT_EQ(sortRank(status), rows[i].rank);
    EXPECT_EQ(needsAttention(status), rows[i].attention);
    EXPECT_EQ(isWorking(status), rows[i].working);
  }
}

TEST(RawValues, MatchTheWholeTextExactly) {
  EXPECT_EQ(fromRawValue<AgentProvider>("codex"), AgentProvider::codex);
  EXPECT_EQ(fromRawValue<SessionStatus>("waitingForInput"), waitingForInput);
  EXPECT_EQ(fromRawValue<PermissionDecision>("always"), PermissionDecision::always);
  EXPECT_EQ(fromRawValue<PushTokenRegistration::Kind>("pushToStart"),
            PushTokenRegistration::Kind::pushToStart);
  for (const char* wrong : {"", "Claude", "claude ", " claude", "CODEX", "claudecodex"}) {
    EXPECT_EQ(fromRawValue<AgentProvider>(wrong), std::nullopt) << wrong;
  }
  for (const char* wrong : {"", "Working", "waitingforinput", "unknown"}) {
    EXPECT_EQ(fromRawValue<SessionStatus>(wrong), std::nullopt) << wrong;
  }
  for (const char* wrong : {"Allow", "ALWAYS", ""}) {
    EXPECT_EQ(fromRawValue<PermissionDecision>(wrong), std::nullopt) << wrong;
  }
  EXPECT_EQ(fromRawValue<PushTokenRegistration::Kind>("alert"), std::nullopt);
}

}  // namespace
}  // namespace idlewyn

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

TEST(AgentProvider, NamesAreThoseThatPeopleAndTheWireKnow) {
  struct Row {
    AgentProvider provider;
    std::string_view raw, display, brief, symbol;
  };
  const std::vector<Row> rows{
      {AgentProvider::claude, "claude", "Claude Code", "Claude", "sparkle"},
      {AgentProvider::codex, "codex", "Codex", "Codex", "chevron.left.forwardslash.chevron.right"},
  };
  std::vector<AgentProvider> inOrder;
  for (const auto& [provider, raw, display, brief, symbol] : rows) {
    inOrder.push_back(provider);
    EXPECT_EQ(rawValue(provider), raw);
    EXPECT_EQ(id(provider), raw);
    EXPECT_EQ(displayName(provider), display);
    EXPECT_EQ(shortName(provider), brief);
    EXPECT_EQ(symbolName(provider), symbol);
  }
  EXPECT_TRUE(std::ranges::equal(allCases<AgentProvider>(), inOrder));
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
  std::vector<SessionStatus> inOrder;
  for (const Row& row : rows) {
    inOrder.push_back(row.status);
    EXPECT_EQ(rawValue(row.status), row.raw);
    EXPECT_EQ(label(row.status), row.label);
    EXPECT_EQ(symbolName(row.status), row.symbol);
    EXPECT_EQ(sortRank(row.status), row.rank);
    EXPECT_EQ(needsAttention(row.status), row.attention);
    EXPECT_EQ(isWorking(row.status), row.working);
  }
  EXPECT_TRUE(std::ranges::equal(allCases<SessionStatus>(), inOrder));
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

}  // namespace
}  // namespace idlewyn

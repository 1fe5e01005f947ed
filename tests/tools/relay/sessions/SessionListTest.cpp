// SPDX-License-Identifier: MIT
#include <tools/relay/sessions/SessionList.hpp>

#include <array>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <tests/tools/relay/support/StandIns.hpp>
#include <tools/relay/sessions/Line.hpp>

namespace idlewyn::relay {
namespace {

class SessionListTest : public ::testing::Test {
 protected:
  void tell(EventKind kind, const std::string& text = {}, const std::string& folder = {}) {
    list_.apply(Event(kind, AgentProvider::codex, "s", now_, text, folder));
  }

  std::string ask(const std::string& key, const std::string& detail = "ls",
                  std::optional<std::string> rule = std::nullopt) {
    Question question(AgentProvider::codex, "s", "Bash", detail, key);
    question.alwaysRule = std::move(rule);
    return list_.ask(std::move(question), [this, key](std::optional<PermissionDecision> decision) {
      constexpr std::array<const char*, 3> names{"allow", "deny", "always"};
      answers_.push_back(key + ": " +
                         (decision ? names[static_cast<std::size_t>(*decision)] : "given back"));
      return isThere_;
    });
  }

  DecisionOutcome decide(const std::string& id,
                         PermissionDecision decision = PermissionDecision::allow,
                         AgentProvider provider = AgentProvider::codex) {
    std::vector<DecisionOutcome> outcomes;
    list_.decide(provider, id, decision,
                 [&](DecisionOutcome outcome) { outcomes.push_back(outcome); });
    EXPECT_EQ(outcomes.size(), 1U);
    return outcomes.at(0);
  }

  AgentSession session() { return list_.sessions(AgentProvider::codex).at(0); }

  StandInPolicy policy_;
  Date now_ = Date() + std::chrono::seconds(1000);
  SessionList list_{policy_, "secret", [this] { return now_; }};
  std::vector<std::string> answers_;
  /// Who asked still waits for the answer.
  bool isThere_ = true;
};

TEST_F(SessionListTest, FollowsATurn) {
  const std::array<std::tuple<EventKind, const char*, SessionStatus>, 9> steps{
      {{EventKind::seen, "Fix it\nplease", SessionStatus::idle},
       {EventKind::turnBegan, "", SessionStatus::working},
       {EventKind::activity, "$ make", SessionStatus::working},
       {EventKind::waits, "", SessionStatus::waitingForInput},
       {EventKind::activity, "$ ls", SessionStatus::waitingForInput},
       {EventKind::goesOn, "", SessionStatus::working},
       {EventKind::finished, "Done.\nAll of it.", SessionStatus::finished},
       {EventKind::failed, "Error", SessionStatus::failed},
       {EventKind::interrupted, "", SessionStatus::idle}}};
  for (const auto& [kind, text, status] : steps) {
    tell(kind, text, "/home/ann/proj");
    EXPECT_EQ(session().status, status) << static_cast<int>(kind);
    EXPECT_EQ(session().title, "Fix it");
    EXPECT_EQ(session().turnStartedAt.has_value(),
              kind != EventKind::seen && kind < EventKind::finished)
        << static_cast<int>(kind);
    EXPECT_TRUE(kind != EventKind::finished || session().summary == "Done.");
  }
  tell(EventKind::ended);
  EXPECT_TRUE(list_.sessions(AgentProvider::codex).empty());
}

TEST_F(SessionListTest, EndsTheTerminalsDialogWithTheTurn) {
  for (const EventKind kind : {EventKind::turnBegan, EventKind::finished, EventKind::failed,
                               EventKind::interrupted, EventKind::goesOn}) {
    tell(EventKind::waits);
    tell(kind);
    EXPECT_NE(session().status, SessionStatus::waitingForInput) << static_cast<int>(kind);
  }
}

TEST_F(SessionListTest, ShowsSeveralPromptsOldestFirst) {
  tell(EventKind::turnBegan);
  const std::string first = ask("a", "one");
  const std::string second = ask("b", "two");
  EXPECT_EQ(session().permission->id, first);
  EXPECT_EQ(session().status, SessionStatus::waitingForInput);
  EXPECT_EQ(decide(first), DecisionOutcome::accepted);
  EXPECT_EQ(session().permission->detail, "two");
  list_.withdraw(second);
  EXPECT_EQ(session().permission, std::nullopt);
  EXPECT_EQ(session().status, SessionStatus::working);
  EXPECT_EQ(answers_, std::vector<std::string>{"a: allow"});
}

TEST_F(SessionListTest, TakesEachAnswerOnceAndForItsAgentAlone) {
  const std::string id = ask("a");
  EXPECT_EQ(decide(id, PermissionDecision::always), DecisionOutcome::noRule);
  EXPECT_EQ(decide(id, PermissionDecision::allow, AgentProvider::claude), DecisionOutcome::gone);
  EXPECT_EQ(decide("unknown"), DecisionOutcome::gone);
  EXPECT_TRUE(answers_.empty()) << "the prompt is still open";
  EXPECT_EQ(decide(id, PermissionDecision::deny), DecisionOutcome::accepted);
  EXPECT_EQ(decide(id), DecisionOutcome::gone);
  const std::string withRule = ask("b", "ls", "Bash(ls)");
  EXPECT_EQ(decide(withRule, PermissionDecision::always), DecisionOutcome::accepted);
  EXPECT_EQ(answers_, (std::vector<std::string>{"a: deny", "b: always"}));
}

TEST_F(SessionListTest, TellsThatWhoeverAskedHasGone) {
  const std::string id = ask("a");
  isThere_ = false;
  EXPECT_EQ(decide(id), DecisionOutcome::gone);
  EXPECT_EQ(session().permission, std::nullopt);
}

TEST_F(SessionListTest, WaitsUntilTheLastDialogHasGone) {
  tell(EventKind::turnBegan);
  for (const char* name : {"main/1", "main/2", "sub/1", "sub/1", ""})
    tell(EventKind::waits, name);
  const std::array<std::tuple<const char*, SessionStatus>, 4> steps{
      {{"other/1", SessionStatus::waitingForInput},
       {"sub/", SessionStatus::waitingForInput},
       {"main/2", SessionStatus::waitingForInput},
       {"main/", SessionStatus::working}}};
  for (const auto& [name, status] : steps) {
    tell(EventKind::goesOn, name);
    EXPECT_EQ(session().status, status) << name;
  }
}

TEST_F(SessionListTest, GivesPromptsBackWhenApprovalsAreSwitchedOff) {
  tell(EventKind::turnBegan);
  const std::string id = ask("a");
  policy_.isOn = false;
  list_.withdrawAll();
  EXPECT_EQ(answers_, std::vector<std::string>{"a: given back"});
  EXPECT_EQ(session().status, SessionStatus::waitingForInput);
  EXPECT_EQ(session().permission, std::nullopt);
  EXPECT_EQ(decide(id), DecisionOutcome::gone);
  EXPECT_EQ(ask("b"), "");
}

TEST_F(SessionListTest, OffersNothingThatCannotBeReadWhole) {
  EXPECT_NE(ask("a", std::string(SessionList::longestDetail, 'x')), "");
  list_.withdrawAll();
  EXPECT_EQ(ask("b", std::string(SessionList::longestDetail + 1, 'x')), "");
  tell(EventKind::activity, "$ ls");
  EXPECT_EQ(session().summary, "The question is too long to be answered from here.");
  EXPECT_EQ(session().permission, std::nullopt);
  EXPECT_EQ(ask("c", ""), "");
}

TEST_F(SessionListTest, KeepsAPromptsIdOverARestartAndUsesItOnce) {
  const std::string id = ask("a");
  SessionList after(policy_, "secret", [this] { return now_; });
  SessionList other(policy_, "another secret", [this] { return now_; });
  const auto again = [&](SessionList& list) {
    return list.ask(Question(AgentProvider::codex, "s", "Bash", "ls", "a"),
                    [](auto) { return true; });
  };
  EXPECT_EQ(again(after), id);
  EXPECT_NE(again(other), id);
  EXPECT_NE(again(after), id) << "two open prompts have two ids";
  decide(id);
  EXPECT_NE(ask("a"), id) << "an answer is for one question";
}

TEST_F(SessionListTest, ForgetsSessionsOfWhichNothingIsHeard) {
  tell(EventKind::turnBegan);
  now_ += std::chrono::hours(23);
  EXPECT_EQ(list_.sessions(AgentProvider::codex).size(), 1U);
  now_ += std::chrono::hours(2);
  EXPECT_TRUE(list_.sessions(AgentProvider::codex).empty());
}

TEST_F(SessionListTest, ShowsAnOpenPromptHoweverOldItIs) {
  const std::string id = ask("a");
  now_ += std::chrono::hours(48);
  EXPECT_EQ(session().permission->id, id);
  EXPECT_EQ(decide(id), DecisionOutcome::accepted);
}

TEST_F(SessionListTest, KeepsOnlySoManySessions) {
  std::vector<std::string> forgotten;
  list_.onForgotten(AgentProvider::codex,
                    [&](const std::string& session) { forgotten.push_back(session); });
  const std::string id = ask("a");
  for (std::size_t at = 0; at < SessionList::mostSessions + 2; ++at) {
    now_ += std::chrono::seconds(1);
    list_.apply(Event(EventKind::seen, AgentProvider::codex, std::to_string(at), now_));
  }
  EXPECT_EQ(list_.sessions(AgentProvider::codex).size(), SessionList::mostSessions);
  EXPECT_EQ(forgotten, (std::vector<std::string>{"0", "1", "2"})) << "the oldest without a prompt";
  EXPECT_EQ(decide(id), DecisionOutcome::accepted);
  now_ += std::chrono::hours(25);
  list_.apply(Event(EventKind::seen, AgentProvider::codex, "new", now_));
  EXPECT_EQ(forgotten.size(), SessionList::mostSessions + 3) << "all of them are too old";
}

TEST(OneLine, CutsBetweenCharactersAndDropsWhatCannotBeShown) {
  const std::array<std::tuple<const char*, std::size_t, const char*>, 6> cases{
      {{"\n  a\tb\x07\r\nsecond", 20, "a b"},
       {"abcdef", 6, "abcdef"},
       {"abcdefg", 6, "abc\xE2\x80\xA6"},
       {"ab\xC3\xA9\xC3\xA9x", 6, "ab\xE2\x80\xA6"},
       {" \n ", 6, ""},
       {"x\x7F", 6, "x"}}};
  for (const auto& [text, limit, expected] : cases)
    EXPECT_EQ(oneLine(text, limit), expected);
}

}  // namespace
}  // namespace idlewyn::relay

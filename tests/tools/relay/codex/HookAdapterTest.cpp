// SPDX-License-Identifier: MIT
#include <tools/relay/agents/codex/HookAdapter.hpp>

#include <algorithm>
#include <array>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <boost/asio/io_context.hpp>

#include <tests/support/Files.hpp>
#include <tests/support/TemporaryFolder.hpp>
#include <tests/tools/relay/codex/RecordingSink.hpp>
#include <tests/tools/relay/support/StandIns.hpp>

namespace idlewyn::relay::codex {
namespace {

using Notes = std::vector<std::string>;

class HookAdapterTest : public ::testing::Test {
 protected:
  /// Plays a recording; each question becomes a hook in `hooks_`. Stops behind `until`.
  void play(const std::string& name, const std::string& until = {}) {
    std::istringstream file(testing::contentOf(std::string(IDLEWYN_TEST_DATA) +
                                               "/agents/codex/hooks-" + name + ".jsonl"));
    rest_.clear();
    for (std::string line; std::getline(file, line);)
      rest_.push_back(line);
    ASSERT_FALSE(rest_.empty());
    playOn(until);
  }

  void playOn(const std::string& until = {}) {
    while (!rest_.empty()) {
      const auto payload = json::parsed(rest_.front());
      rest_.erase(rest_.begin());
      ASSERT_TRUE(payload);
      if (send(*payload) == until) return;
    }
  }

  std::string send(json::Object payload) {
    HookEvent event;
    event.agent = "codex";
    event.name = json::text(payload, "hook_event_name");
    event.payload = std::move(payload);
    if (event.name == "PermissionRequest")
      event.waiting = hooks_.emplace_back(std::make_shared<StandInHook>());
    adapter_.receive(event);
    return event.name;
  }

  RecordingSink sink_;
  StandInPolicy policy_;
  boost::asio::io_context context_;
  FileWatch watch_{context_};
  RolloutWatch rollouts_{watch_, [this](const std::string& session, const TurnEnd& end) {
                           adapter_.turnEnded(session, end);
                         }};
  bool isServed_ = false;
  HookAdapter adapter_{sink_, policy_, rollouts_, [this](const std::string&) { return isServed_; }};
  std::vector<std::shared_ptr<StandInHook>> hooks_;
  std::vector<std::string> rest_;
};

TEST_F(HookAdapterTest, AsksAndGivesTheAnswer) {
  const std::array<std::tuple<PermissionDecision, const char*>, 3> cases{
      {{PermissionDecision::allow, R"("behavior":"allow")"},
       {PermissionDecision::deny, R"("behavior":"deny")"},
       {PermissionDecision::always, R"("behavior":"allow")"}}};
  for (const auto& [decision, expected] : cases) {
    policy_.rules.clear();
    play("one", "PermissionRequest");
    EXPECT_EQ(sink_.take().back().substr(2), " asks Bash: touch one.txt [Bash(touch one.txt)]");
    ASSERT_EQ(sink_.open.size(), 1U);
    EXPECT_EQ(hooks_.back()->bound, std::chrono::seconds(60));
    sink_.answer(sink_.open.begin()->first, decision);
    EXPECT_NE(hooks_.back()->output.value_or("").find(expected), std::string::npos);
    playOn();
    EXPECT_EQ(sink_.take(), (Notes{"goes on", "seen  in /home/ann/proj", "goes on",
                                   "seen  in /home/ann/proj", "finished All done."}));
    EXPECT_EQ(policy_.rules.empty(), decision != PermissionDecision::always);
  }
}

TEST_F(HookAdapterTest, WaitsOnlyWhereAnAnswerCanCome) {
  struct Case {
    bool isOn, isAway, isAttentive, isServed;
    bool waits;
    const char* reason;
  };
  const std::array<Case, 5> cases{{{true, false, true, false, true, "a device asks"},
                                   {true, false, false, false, false, "no device asks"},
                                   {true, true, false, false, true, "nobody is at the terminal"},
                                   {false, true, true, false, false, "approvals are off"},
                                   {true, true, true, true, false, "the app-server asks"}}};
  for (const Case& row : cases) {
    policy_.isOn = row.isOn;
    policy_.isPersonAway = row.isAway;
    policy_.isSomebodyThere = row.isAttentive;
    isServed_ = row.isServed;
    play("one", "PermissionRequest");
    EXPECT_EQ(hooks_.back()->isHeld, row.waits) << row.reason;
    EXPECT_EQ(hooks_.back()->output, row.waits ? std::nullopt : std::optional(std::string()))
        << row.reason;
    EXPECT_EQ(hooks_.back()->bound.has_value(), row.waits && !row.isAway) << row.reason;
    playOn();
  }
}

TEST_F(HookAdapterTest, AnswersByAKeptRuleUnlessApprovalsAreOff) {
  policy_.rules.emplace_back(AgentProvider::codex, "/home/ann/proj", "Bash", "touch one.txt");
  play("one", "PermissionRequest");
  EXPECT_NE(hooks_.back()->output.value_or("").find("allow"), std::string::npos);
  EXPECT_FALSE(hooks_.back()->isHeld);
  policy_.isOn = false;
  play("one", "PermissionRequest");
  EXPECT_EQ(hooks_.back()->output, "") << "off comes before the rules";
  policy_.isOn = true;
  policy_.rules.front().folder = "/home/ann";
  play("one", "PermissionRequest");
  EXPECT_TRUE(hooks_.back()->isHeld) << "a rule is for its folder alone";
}

TEST_F(HookAdapterTest, WithdrawsWhatTheTerminalAnswered) {
  play("both");
  EXPECT_TRUE(sink_.open.empty());
  const Notes notes = sink_.take();
  EXPECT_EQ(std::count(notes.begin(), notes.end(), "p1 withdrawn"), 1);
  EXPECT_EQ(std::count(notes.begin(), notes.end(), "p2 withdrawn"), 1);
  EXPECT_EQ(notes.back(), "finished All done.");
  for (const auto& hook : hooks_)
    EXPECT_EQ(hook->output, "");
}

TEST_F(HookAdapterTest, MatchesAPatchThatLostItsLastNewline) {
  play("write", "PermissionRequest");
  EXPECT_EQ(sink_.take().back(),
            "p1 asks apply_patch: written.txt\n*** Begin Patch\n*** Add File: written.txt\n+hello\n"
            "*** End Patch");
  playOn("PostToolUse");
  EXPECT_TRUE(sink_.open.empty());
}

TEST_F(HookAdapterTest, ShowsSubagentsInTheirSession) {
  play("sub", "PermissionRequest");
  EXPECT_EQ(sink_.take().back(), "p1 asks Bash: touch one.txt [Bash(touch one.txt)] by a subagent");
  playOn();
  EXPECT_EQ(sink_.take().back(), "finished All done.");
}

TEST_F(HookAdapterTest, EndsWithInterruptionsAndTheSession) {
  play("two");
  EXPECT_EQ(sink_.take().back(), "interrupted");
  EXPECT_TRUE(sink_.open.empty());
  play("exit");
  EXPECT_EQ(sink_.take(), (Notes{"ended"}));
}

TEST_F(HookAdapterTest, ForgetsAHookThatHasGone) {
  play("one", "PermissionRequest");
  sink_.take();
  adapter_.gone(hooks_.back());
  EXPECT_EQ(sink_.take(), (Notes{"p1 withdrawn"})) << "the terminal's dialog is up: still waiting";
  EXPECT_EQ(hooks_.back()->output, std::nullopt);
}

TEST_F(HookAdapterTest, ReadsErrorsFromTheSessionsRecord) {
  const testing::TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "rollout.jsonl";
  testing::overwrite(file, "{}\n");
  json::Object prompt{{"session_id", "s"},
                      {"hook_event_name", "UserPromptSubmit"},
                      {"prompt", "p"},
                      {"cwd", "/"},
                      {"transcript_path", file.string()}};
  send(prompt);
  sink_.take();
  const std::string lines =
      testing::contentOf(std::string(IDLEWYN_TEST_DATA) + "/agents/codex/rollout.jsonl");
  std::ofstream(file, std::ios::app) << lines;
  Notes notes;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (notes.size() < 2 && std::chrono::steady_clock::now() < deadline) {
    context_.run_one_for(std::chrono::seconds(1));
    for (std::string& note : sink_.take())
      notes.push_back(std::move(note));
  }
  EXPECT_EQ(notes, (Notes{"interrupted", "failed Fake error"}));
}

}  // namespace
}  // namespace idlewyn::relay::codex

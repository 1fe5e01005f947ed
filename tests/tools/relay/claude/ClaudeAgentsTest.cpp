// SPDX-License-Identifier: MIT
#include <tools/relay/agents/claude/ClaudeAgents.hpp>

#include <array>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <boost/asio/io_context.hpp>

#include <tests/support/Files.hpp>
#include <tests/support/TemporaryFolder.hpp>
#include <tests/tools/relay/support/StandIns.hpp>
#include <tools/relay/agents/claude/SessionFile.hpp>

namespace idlewyn::relay::claude {
namespace {

/// Plays what the real Claude Code sent, with a configuration folder of the test's own.
class ClaudeAgentsTest : public ::testing::Test {
 protected:
  ClaudeAgentsTest() { setStatus("idle"); }

  void setStatus(const std::string& status, const std::string& kind = "interactive") {
    testing::overwrite(file_, R"({"pid":77,"sessionId":")" + session_ + R"(","status":")" + status +
                                  R"(","kind":")" + kind + R"(","entrypoint":"cli"})");
  }

  void play(const std::string& name, const std::string& until = {}) {
    rest_.clear();
    std::istringstream file(testing::contentOf(std::string(IDLEWYN_TEST_DATA) +
                                               "/agents/claude/hooks-" + name + ".jsonl"));
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
    ASSERT_TRUE(until.empty()) << "no " << until;
  }

  std::string send(json::Object payload) {
    payload["transcript_path"] = (folder_.path() / "projects" / "p" / "s.jsonl").string();
    payload["session_id"] = session_;
    HookEvent event;
    event.agent = "claude";
    event.name = json::text(payload, "hook_event_name");
    event.parent = 77;
    event.parentStart = start_;
    event.nonce = std::to_string(++nonces_);
    event.payload = std::move(payload);
    if (event.name == "PermissionRequest")
      event.waiting = hooks_.emplace_back(std::make_shared<StandInHook>());
    claude_.receive(event);
    return event.name;
  }

  json::Object payload(const std::string& event, const std::string& members = {}) {
    return *json::parsed(R"({"hook_event_name":")" + event + "\"" + members + "}");
  }

  AgentSession session() { return list_.sessions(AgentProvider::claude).at(0); }

  DecisionOutcome decide(PermissionDecision decision) {
    DecisionOutcome result = DecisionOutcome::timedOut;
    list_.decide(AgentProvider::claude, session().permission->id, decision,
                 [&](DecisionOutcome outcome) { result = outcome; });
    return result;
  }

  /// Lets the watch of the session files work until the condition holds.
  template <typename Condition>
  bool waitFor(Condition condition, int milliseconds = 20000) {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (!condition() && std::chrono::steady_clock::now() < deadline)
      context_.run_one_for(std::chrono::milliseconds(100));
    return condition();
  }

  testing::TemporaryFolder folder_;
  std::filesystem::path file_ = folder_.path() / "sessions" / "77.json";
  std::string session_ = "s";
  boost::asio::io_context context_;
  FileWatch watch_{context_};
  StandInPolicy policy_;
  SessionList list_{policy_, "secret", [] { return platform::DateClock::now(); }};
  ClaudeAgents claude_{context_, watch_, list_, policy_, [] { return platform::DateClock::now(); }};
  std::vector<std::shared_ptr<StandInHook>> hooks_;
  std::vector<std::string> rest_;
  int nonces_ = 0;
  std::uint64_t start_ = 0;
};

TEST_F(ClaudeAgentsTest, AsksAndGivesTheAnswer) {
  const std::array<std::tuple<PermissionDecision, std::string>, 3> cases{
      {{PermissionDecision::allow, R"("decision":{"behavior":"allow"})"},
       {PermissionDecision::deny, R"("behavior":"deny")"},
       {PermissionDecision::always,
        R"("updatedPermissions":[{"type":"addRules","rules":[{"toolName":"Bash","ruleContent":)"}}};
  for (const auto& [decision, expected] : cases) {
    play("one", "PermissionRequest");
    EXPECT_EQ(session().title, "SCRIPT one");
    EXPECT_EQ(session().status, SessionStatus::waitingForInput);
    ASSERT_TRUE(session().permission);
    const std::string command = R"x(python3 -c "open('one.txt','w')")x";
    EXPECT_EQ(session().permission->detail, command);
    EXPECT_EQ(session().permission->alwaysRule, "Bash(" + command + ")");
    EXPECT_TRUE(hooks_.back()->isHeld);
    EXPECT_EQ(hooks_.back()->bound, std::nullopt) << "as long as the agent waits";
    EXPECT_EQ(decide(decision), DecisionOutcome::accepted);
    EXPECT_NE(hooks_.back()->output.value_or("").find(expected), std::string::npos)
        << *hooks_.back()->output;
    playOn();
    EXPECT_EQ(session().status, SessionStatus::finished);
    EXPECT_EQ(session().summary, "All done.");
  }
}

TEST_F(ClaudeAgentsTest, OffersNoRuleForAChangeOfMode) {
  play("write", "PermissionRequest");
  ASSERT_TRUE(session().permission);
  EXPECT_TRUE(session().permission->detail.ends_with("written.txt\nhello\n"));
  EXPECT_EQ(session().permission->alwaysRule, std::nullopt);
  EXPECT_EQ(decide(PermissionDecision::always), DecisionOutcome::noRule);
}

TEST_F(ClaudeAgentsTest, ShowsSeveralQuestionsOneAfterTheOther) {
  play("both", "PermissionRequest");
  playOn("PermissionRequest");
  EXPECT_EQ(session().permission->detail, "https://example.com/a\nread");
  decide(PermissionDecision::allow);
  EXPECT_EQ(session().permission->detail, "https://example.org/b\nread");
  playOn();
  EXPECT_EQ(session().permission, std::nullopt);
  EXPECT_EQ(hooks_.back()->output, "") << "the terminal answered";
}

TEST_F(ClaudeAgentsTest, WithdrawsWhenTheSessionsFileSaysThatItGoesOn) {
  play("one", "PermissionRequest");
  for (const char* status : {"busy", "waiting"}) {
    setStatus(status);
    context_.run_for(std::chrono::milliseconds(100));
    EXPECT_TRUE(session().permission) << "the file was older than the question";
  }
  setStatus("busy");
  EXPECT_TRUE(waitFor([&] { return !session().permission.has_value(); }));
  EXPECT_EQ(hooks_.back()->output, "");
  EXPECT_EQ(session().status, SessionStatus::working);
  setStatus("idle");
  EXPECT_TRUE(waitFor([&] { return session().status == SessionStatus::idle; })) << "Escape";
}

TEST_F(ClaudeAgentsTest, EndsAHookThatTheTerminalEnded) {
  play("two", "PermissionRequest");
  claude_.gone(hooks_.back());
  EXPECT_EQ(session().permission, std::nullopt);
  EXPECT_EQ(hooks_.back()->output, std::nullopt);
}

TEST_F(ClaudeAgentsTest, IsNotFinishedWhileASubagentWorks) {
  play("sub", "PermissionRequest");
  EXPECT_EQ(hooks_.back()->bound, std::chrono::seconds(60)) << "its dialog is hidden";
  playOn("Stop");
  EXPECT_TRUE(session().permission) << "the main agent's end is not the subagent's";
  EXPECT_EQ(session().status, SessionStatus::waitingForInput);
  decide(PermissionDecision::allow);
  EXPECT_EQ(session().status, SessionStatus::working);
  playOn();
  EXPECT_EQ(session().status, SessionStatus::finished);
  EXPECT_EQ(session().title, "SCRIPT sub") << "Claude's own prompts name nothing";
}

TEST_F(ClaudeAgentsTest, GoesOnWithTheTurnWhenBackgroundWorkHasEnded) {
  send(payload("UserPromptSubmit", R"(,"prompt":"go")"));
  const auto begun = session().turnStartedAt;
  setStatus("busy");
  EXPECT_FALSE(waitFor([&] { return session().status != SessionStatus::working; }, 200));
  send(payload("Stop", R"(,"background_tasks":[{"status":"running"}])"));
  setStatus("idle");
  EXPECT_FALSE(waitFor([&] { return session().status != SessionStatus::working; }, 200))
      << "the main agent is idle, its work is not";
  send(payload("UserPromptSubmit", R"(,"prompt":"<task-notification>done</task-notification>")"));
  EXPECT_EQ(session().status, SessionStatus::working);
  EXPECT_EQ(session().turnStartedAt, begun);
  send(payload("Stop", R"(,"last_assistant_message":"Done.")"));
  EXPECT_EQ(session().status, SessionStatus::finished);
}

TEST_F(ClaudeAgentsTest, KeepsAQuestionWhileOtherToolsGoOn) {
  const std::string other = R"(,"agent_id":"a","tool_name":"Read","tool_input":{"file_path":"/f"})";
  const std::string question = R"(,"tool_name":"AskUserQuestion","tool_input":{"questions":[]})";
  for (const std::string& end : {std::string("PostToolUse"), std::string("PostToolUseFailure")}) {
    send(payload("PreToolUse", question));
    send(payload("PermissionRequest", question));
    for (const char* name : {"PreToolUse", "PostToolUse", "SubagentStop"}) {
      send(payload(name, other));
      EXPECT_EQ(session().status, SessionStatus::waitingForInput) << name;
    }
    send(payload(end, question));
    EXPECT_EQ(session().status, SessionStatus::working) << end;
  }
  send(payload("PreToolUse", question));
  setStatus("waiting");
  EXPECT_FALSE(waitFor([&] { return session().status == SessionStatus::working; }, 200));
  setStatus("busy");
  EXPECT_TRUE(waitFor([&] { return session().status == SessionStatus::working; }))
      << "the terminal answered";
}

TEST_F(ClaudeAgentsTest, KeepsTheMainAgentsQuestionWhenASubagentStops) {
  send(payload("PermissionRequest", R"(,"tool_name":"Bash","tool_input":{"command":"ls"})"));
  send(payload("Stop", R"(,"agent_id":"a")"));
  send(payload("StopFailure", R"(,"agent_id":"a","error":"unknown")"));
  EXPECT_TRUE(session().permission);
  send(payload("Stop"));
  EXPECT_EQ(session().permission, std::nullopt);
}

TEST_F(ClaudeAgentsTest, RefusesAnAnswerWhenTheHookHasGone) {
  send(payload("PermissionRequest", R"(,"tool_name":"Bash","tool_input":{"command":"ls"})"));
  hooks_.back()->isThere = false;
  EXPECT_EQ(decide(PermissionDecision::allow), DecisionOutcome::gone);
  EXPECT_EQ(session().permission, std::nullopt);
}

TEST_F(ClaudeAgentsTest, WaitsAsTheDialogAllows) {
  struct Case {
    const char* kind;
    bool isSubagent, isAttentive, isAway, isOn;
    bool waits;
    std::optional<int> bound;
  };
  const std::array<Case, 7> cases{
      {{"interactive", false, false, false, true, true, std::nullopt},
       {"interactive", true, false, false, true, false, std::nullopt},
       {"interactive", true, true, false, true, true, 60},
       {"interactive", true, false, true, true, true, std::nullopt},
       {"headless", false, false, false, true, true, 3600},
       {"interactive", false, true, false, false, false, std::nullopt},
       {R"(interactive","procStart":"5)", false, false, false, true, true, 3600}}};
  for (const Case& row : cases) {
    setStatus("busy", row.kind);
    policy_.isSomebodyThere = row.isAttentive;
    policy_.isPersonAway = row.isAway;
    policy_.isOn = row.isOn;
    start_ = 6;  // the last row's file was left by a process that had the number before
    send(payload("PermissionRequest",
                 std::string(R"(,"tool_name":"Bash","tool_input":{"command":"ls"})") +
                     (row.isSubagent ? R"(,"agent_id":"a")" : "")));
    const auto at = &row - cases.data();
    EXPECT_EQ(hooks_.back()->isHeld, row.waits) << at;
    EXPECT_EQ(hooks_.back()->output.has_value(), !row.waits) << at;
    EXPECT_EQ(hooks_.back()->bound,
              row.bound ? std::optional(std::chrono::seconds(*row.bound)) : std::nullopt)
        << at;
    send(payload("SessionEnd"));
  }
}

TEST_F(ClaudeAgentsTest, LeavesQuestionsToTheTerminal) {
  play("ask");
  EXPECT_EQ(session().status, SessionStatus::waitingForInput);
  EXPECT_EQ(session().permission, std::nullopt);
  EXPECT_EQ(hooks_.back()->output, "");
}

TEST_F(ClaudeAgentsTest, TellsErrorsProgressAndTheEnd) {
  play("bad");
  EXPECT_EQ(session().status, SessionStatus::failed);
  EXPECT_EQ(session().summary, "API Error: 400 Fake error");
  send(payload("TaskCreated", R"(,"task_id":"1")"));
  send(payload("TaskCreated", R"(,"task_id":"2")"));
  send(payload("TaskCompleted", R"(,"task_id":"1")"));
  EXPECT_EQ(session().taskDone, 1);
  EXPECT_EQ(session().taskTotal, 2);
  send(payload("UserPromptSubmit", R"(,"prompt":"on")"));
  EXPECT_EQ(session().taskDone, 0) << "what was done belongs to the turn before";
  EXPECT_EQ(session().taskTotal, 1);
  send(payload("PostToolUse",
               R"(,"tool_name":"TaskUpdate","tool_input":{"taskId":"2","status":"deleted"})"));
  EXPECT_EQ(session().taskTotal, std::nullopt);
  play("exit");
  EXPECT_TRUE(list_.sessions(AgentProvider::claude).empty());
}

TEST(SessionFileName, IsANumber) {
  EXPECT_TRUE(isSessionFileName("77.json"));
  for (const char* name : {"77.key", "a.json", ".json", "8.1e36.key", "77.json.tmp", ""})
    EXPECT_FALSE(isSessionFileName(name)) << name;
}

TEST(ConfigurationFolder, LiesAboveTheLastProjects) {
  const auto folder = [](const std::string& path) {
    return configurationFolder({{"transcript_path", path}});
  };
  EXPECT_EQ(folder("/home/ann/.claude/projects/-x/s.jsonl"), "/home/ann/.claude");
  EXPECT_EQ(folder("/srv/projects/ann/.claude/projects/-x/s.jsonl"), "/srv/projects/ann/.claude");
  EXPECT_EQ(folder("/tmp/s.jsonl"), "");
}

TEST(DetailOf, ShowsEverythingThatWillRunOrBeWritten) {
  const std::array<std::tuple<const char*, const char*, const char*>, 7> cases{{
      {"Bash", R"({"command":"ls","description":"look","run_in_background":false})", "ls"},
      {"Bash", R"({"command":"ls","run_in_background":true})", "ls\n\nIt runs in the background."},
      {"Bash", R"({"command":"ls","timeout":600000})",
       "ls\n\nIt is ended after 600000 milliseconds."},
      {"Bash", R"({"command":"ls","other":1})", R"({"command":"ls","other":1})"},
      {"Edit", R"({"file_path":"/f","old_string":"a","new_string":"b"})", "/f\nreplace\na\nby\nb"},
      {"Edit", R"({"file_path":"/f","old_string":"a","new_string":"b","replace_all":true})",
       "/f\nreplace all of\na\nby\nb"},
      {"mcp__x", R"({"q":[1]})", R"({"q":[1]})"},
  }};
  for (const auto& [tool, input, expected] : cases)
    EXPECT_EQ(detailOf(tool, *json::parsed(input)), expected);
}

TEST(SuggestedRules, AreRulesThatAllowAndNothingElse) {
  const auto shown = [](const std::string& suggestions) {
    const auto rules =
        suggestedRules(*json::parsed(R"({"permission_suggestions":[)" + suggestions + "]}"));
    return rules ? rules->shown + " " + std::to_string(rules->suggestions.size()) : "none";
  };
  const std::string mode = R"({"type":"setMode","mode":"acceptEdits","destination":"session"})";
  const std::string rule =
      R"({"type":"addRules","behavior":"allow","rules":[{"toolName":"Bash","ruleContent":"ls"}]})";
  EXPECT_EQ(shown(rule + "," + mode), "Bash(ls) 1");
  EXPECT_EQ(shown(mode), "none");
  EXPECT_EQ(boost::json::serialize(
                suggestedRules(
                    *json::parsed(R"({"permission_suggestions":[{"type":"addRules","behavior":)"
                                  R"("allow","rules":[{"toolName":"Read","x":1}],"more":2}]})"))
                    ->suggestions),
            R"([{"type":"addRules","rules":[{"toolName":"Read"}],"behavior":"allow"}])");
  const auto stored = [&](const std::string& destination) {
    return shown(rule.substr(0, rule.size() - 1) + R"(,"destination":")" + destination + "\"}");
  };
  EXPECT_EQ(stored("localSettings"), "Bash(ls) 1");
  EXPECT_EQ(stored("userSettings"), "Bash(ls) in all projects 1");
  EXPECT_EQ(stored("projectSettings"), "Bash(ls) for everyone in this project 1");
  EXPECT_EQ(stored("session"), "Bash(ls) in this session 1");
  EXPECT_EQ(stored("everywhere"), "none");
  EXPECT_EQ(shown(""), "none");
  EXPECT_EQ(shown(R"({"type":"addRules","behavior":"deny","rules":[{"toolName":"Bash"}]})"),
            "none");
  EXPECT_EQ(shown(R"({"type":"addRules","behavior":"allow","rules":[{"toolName":"Read"},7]})"),
            "none");
  EXPECT_EQ(shown(R"({"type":"addDirectories","directories":["/"]})"), "none");
}

}  // namespace
}  // namespace idlewyn::relay::claude

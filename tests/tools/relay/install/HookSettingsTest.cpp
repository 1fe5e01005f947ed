// SPDX-License-Identifier: MIT
#include <tools/relay/agents/install/HookSettings.hpp>

#include <algorithm>
#include <array>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include <tools/relay/agents/Json.hpp>

namespace idlewyn::relay {
namespace {

const HookPlan plan{
    "claude", "/usr/lib/idlewyn/idlewyn-relay-hook", "", {"Stop", "PermissionRequest"}};

TEST(HookSettings, AreAddedBesideWhatIsThereAndTakenOutAgain) {
  const std::array<std::tuple<const char*, const char*>, 8> cases{{
      {"{}", "nothing"},
      {"{}\n", "a last newline"},
      {"{ \n }", "blanks"},
      {"{\"model\":\"x\",\n\t\"a\": [1, {\"b\":\"}\\\"]\"}]  }\n", "brackets in texts"},
      {"{\"hooks\":{\"PreToolUse\":[{\"hooks\":[]}]}}", "other hooks"},
      {"{\n  \"hooks\": {\n    \"Stop\": [\n      {\"hooks\": [{\"type\": \"command\", "
       "\"command\": \"mine\"}]}\n    ]\n  },\n  \"z\": 1\n}\n",
       "the person's own for the same event"},
      {"{\"a\":{\"hooks\":{\"Stop\":[]}}}", "hooks of another depth"},
      {"\r\n{\r\n}\r\n", "other line ends"},
  }};
  for (const auto& [text, reason] : cases) {
    const std::string with = withHooks(text, plan);
    EXPECT_TRUE(json::parsed(with)) << reason << ": " << with;
    auto events = hookedEvents(with, "claude");
    std::sort(events.begin(), events.end());
    EXPECT_EQ(events, (std::vector<std::string>{"PermissionRequest", "Stop"})) << reason;
    EXPECT_EQ(withHooks(with, plan), with) << reason << ": once is enough";
    EXPECT_EQ(withoutHooks(with, "codex"), with) << reason << ": another agent's";
    EXPECT_EQ(withoutHooks(with, "claude"), text) << reason;
  }
}

TEST(HookSettings, TakeOutOurEntriesWhateverWasEditedSince) {
  const std::string ours =
      R"({"hooks":[{"type":"command","command":"exec /x/idlewyn-relay-hook claude Stop"}]})";
  const std::array<std::tuple<std::string, std::string>, 5> cases{{
      {R"({"hooks":{"Stop":[)" + ours + R"(, {"mine":1}]}})", R"({"hooks":{"Stop":[{"mine":1}]}})"},
      {R"({"hooks":{"Stop":[{"a":1}, )" + ours + " ,{\"b\":2}]}}",
       R"({"hooks":{"Stop":[{"a":1} ,{"b":2}]}})"},
      {R"({"hooks":{"Stop":[)" + ours + "," + ours + R"(],"Other":[]},"x":1})",
       R"({"hooks":{"Other":[]},"x":1})"},
      {R"({"hooks":{"Stop":[{"hooks":[{"command":"mine"},{"command":"/x/idlewyn-relay-hook claude )"
       R"(Stop 2>x"}, {"command":"'/a b/idlewyn-relay-hook' claude Stop"}]}]}})",
       R"({"hooks":{"Stop":[{"hooks":[{"command":"mine"},{"command":"/x/idlewyn-relay-hook claude )"
       R"(Stop 2>x"}]}]}})"},
      {R"({"hooks":{"Stop":[{"matcher":"Bash","hooks":[)" +
           ours.substr(ours.find('[') + 1, ours.find(']') - ours.find('[') - 1) + "]}]}}",
       "{}"},
  }};
  for (const auto& [text, expected] : cases)
    EXPECT_EQ(withoutHooks(text, "claude"), expected);
}

TEST(HookSettings, TakeOthersCommandsForTheirOwn) {
  for (const char* command :
       {"my-idlewyn-relay-hook claude Stop", "echo idlewyn-relay-hook claude Stop",
        "log 'exec /x/idlewyn-relay-hook claude Stop'", "/x/idlewyn-relay-hook claude Stop; mine",
        "/x/idlewyn-relay-hook codex Stop", "/x/idlewyn-relay-hook/run claude Stop", ""}) {
    const std::string text =
        R"({"hooks":{"Stop":[{"hooks":[{"command":")" + std::string(command) + "\"}]}]}}";
    EXPECT_TRUE(hookedEvents(text, "claude").empty()) << command;
    EXPECT_EQ(withoutHooks(text, "claude"), text) << command;
    EXPECT_EQ(withoutHooks(withHooks(text, plan), "claude"), text) << command;
  }
}

TEST(HookSettings, ReplaceEntriesOfAnEarlierPlan) {
  const std::string mine = R"({"hooks":{"Stop":[{"hooks":[{"command":"mine"}]}]}})";
  const std::string wanted = withHooks(mine, plan);
  HookPlan moved = plan;
  moved.socket = "/elsewhere/hook.sock";
  HookPlan more = plan;
  more.events.push_back("TaskCreated");
  HookPlan older = plan;
  older.program = "/old/idlewyn-relay-hook";
  for (const HookPlan& earlier : {moved, more, older}) {
    const std::string before = withHooks(mine, earlier);
    EXPECT_NE(before, wanted);
    EXPECT_EQ(withHooks(before, plan), wanted);
  }
  std::string doubled = wanted;
  const std::size_t end = doubled.rfind("]}}");
  const std::size_t begin = doubled.rfind("{\"hooks\": [", end);
  doubled.insert(end, "," + doubled.substr(begin, end - begin));
  EXPECT_EQ(withHooks(doubled, plan), wanted) << "one command an event is enough";
  std::string impatient = wanted;
  impatient.replace(impatient.find("86400"), 5, "60");
  EXPECT_EQ(withHooks(impatient, plan), wanted) << "a question waits longer";
}

TEST(HookSettings, SayWhatTheCommandIs) {
  HookPlan own = plan;
  own.socket = "/tmp/a b";
  HookPlan spaced = plan;
  spaced.program = "/my programs/idlewyn-relay-hook";
  EXPECT_EQ(hookedEvents(withHooks("", spaced), "claude").size(), 2U);
  const std::string with = withHooks("", own);
  EXPECT_NE(
      with.find(
          R"("exec /usr/lib/idlewyn/idlewyn-relay-hook claude Stop --socket '/tmp/a b'", "timeout": 5)"),
      std::string::npos)
      << with;
  EXPECT_NE(with.find("\"timeout\": 86400"), std::string::npos);
}

TEST(HookSettings, RefuseWhatTheyCannotRead) {
  const std::array<std::tuple<const char*, const char*>, 7> cases{{
      {"{\"h\\u006foks\": 1}", "line 1, column 16"},
      {"{\n  \"a\": 1,\n  oops\n}", "line 3, column 3"},
      {"[]", "line 1, column 1"},
      {"{} {}", "line 1, column"},
      {"{\"hooks\": []}", "line 1, column 11"},
      {"{\"hooks\":\n{\"Stop\": 7}}", "line 2, column 10"},
      {"{\"a\": \"", "line 1, column"},
  }};
  for (const auto& [text, where] : cases) {
    try {
      withHooks(text, plan);
      ADD_FAILURE() << text;
    } catch (const SettingsError& error) {
      EXPECT_NE(std::string(error.what()).find(where), std::string::npos) << error.what();
    }
  }
}

TEST(HookSettings, UseOnlyEventsThatTheVersionKnows) {
  const auto has = [](const char* version, const char* event) {
    const auto events = claudeEvents(version);
    return std::find(events.begin(), events.end(), event) != events.end();
  };
  EXPECT_TRUE(has("2.1.331", "PostToolBatch"));
  EXPECT_FALSE(has("2.1.196", "PostToolBatch"));
  EXPECT_TRUE(has("2.1.78", "StopFailure"));
  EXPECT_FALSE(has("2.1.77", "StopFailure"));
  EXPECT_FALSE(has("", "TaskCreated")) << "an unknown version gets the oldest events";
  EXPECT_TRUE(has("3.0.0", "TaskCreated"));
}

}  // namespace
}  // namespace idlewyn::relay

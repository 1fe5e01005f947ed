// SPDX-License-Identifier: MIT
#include <array>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <tools/relay/agents/ShellWords.hpp>
#include <tools/relay/agents/codex/AppServerMessages.hpp>
#include <tools/relay/agents/codex/Patch.hpp>
#include <tools/relay/agents/codex/Rollout.hpp>

namespace idlewyn::relay::codex {
namespace {

TEST(ScriptOf, ShowsTheScriptThatAShellIsGivenAndNothingElse) {
  const std::array<std::tuple<const char*, const char*, const char*>, 9> cases{{
      {"/bin/bash -lc 'touch x.txt'", "touch x.txt", "one quoted word"},
      {"bash -lc ls", "ls", "a plain word"},
      {R"(/bin/bash -lc 'echo '"'"'a'"'"' b')", "echo 'a' b", "quotes inside quotes"},
      {R"(bash -lc "echo \"a\" \n")", R"(echo "a" \n)", "escapes in double quotes"},
      {"bash -lc 'ls' 'arg'", "bash -lc 'ls' 'arg'", "arguments would be hidden"},
      {"bash -lc 'ls'; rm -rf x", "bash -lc 'ls'; rm -rf x", "more would be hidden"},
      {"bash -lc \"echo $HOME\"", "bash -lc \"echo $HOME\"", "a shell would change it"},
      {"bash -lc 'open", "bash -lc 'open", "an open quote"},
      {"/tmp/bash -lc ls", "/tmp/bash -lc ls", "not a shell that we know"},
  }};
  for (const auto& [line, script, reason] : cases)
    EXPECT_EQ(scriptOf(line), script) << reason;
}

TEST(PrefixRule, ShowsEachWordAsOne) {
  EXPECT_EQ(prefixRule({"git", "commit"}), "Bash(git commit, and whatever follows)");
  EXPECT_EQ(prefixRule({"echo", "a b", ""}), "Bash(echo \"a b\" \"\", and whatever follows)");
}

TEST(PatchDetail, NamesEveryFileAndKeepsThePatch) {
  const std::string patch =
      "*** Begin Patch\n*** Add File: a\n+x\n*** Update File: b\n*** Move to: c\n@@\n-y\n"
      "*** Delete File: d\n*** End Patch";
  EXPECT_EQ(patchDetail(patch), "a, b, c, d\n" + patch);
  EXPECT_EQ(patchDetail("*** Begin Patch\n+*** Add File: a\n*** End Patch"), "")
      << "a line of a file's text names no file";
}

TEST(TurnEnd, ReadsHowATurnEnded) {
  using Kind = TurnEnd::Kind;
  const std::array<std::tuple<std::string, std::optional<TurnEnd>>, 7> cases{{
      {R"({"type":"turn_aborted"})", TurnEnd(Kind::interrupted, "")},
      {R"({"type":"task_complete","last_agent_message":"Done."})",
       TurnEnd(Kind::finished, "Done.")},
      {R"({"type":"task_complete","error":{"message":"plain"}})", TurnEnd(Kind::failed, "plain")},
      {R"({"type":"task_complete","error":{"message":"{\"error\":{\"message\":\"inner\"}}"}})",
       TurnEnd(Kind::failed, "inner")},
      {R"({"type":"task_started"})", std::nullopt},
      {R"(7)", std::nullopt},
      {R"({"type":["turn_aborted"]})", std::nullopt},
  }};
  for (const auto& [payload, expected] : cases)
    EXPECT_EQ(turnEnd(R"({"type":"event_msg","payload":)" + payload + "}"), expected) << payload;
  EXPECT_EQ(turnEnd(R"({"type":"response_item","payload":{"type":"turn_aborted"}})"), std::nullopt);
  EXPECT_EQ(turnEnd(R"({"type":"event_msg","payload":{"type":"turn_aborted")"), std::nullopt)
      << "a line that is still being written";
}

TEST(ChangesText, ShowsAllOrNothing) {
  const auto text = [](const std::string& changes) {
    return changesText(*json::parsed(R"({"changes":[)" + changes + "]}"));
  };
  const std::string add = R"({"path":"/a","kind":{"type":"add"},"diff":"x\n"})";
  EXPECT_EQ(text(add), "Add /a\nx");
  EXPECT_EQ(text(add + R"(,{"path":"/b","kind":{"type":"update","move_path":"/c"},"diff":"-y"})"),
            "Add /a\nx\nUpdate /b and move it to /c\n-y");
  EXPECT_EQ(text(add + R"(,{"kind":{"type":"add"}})"), "") << "a change that can't be shown";
  EXPECT_EQ(text(""), "");
}

}  // namespace
}  // namespace idlewyn::relay::codex

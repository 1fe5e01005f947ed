// SPDX-License-Identifier: MIT
#include <tools/idlewyn/prompts/PromptChoice.hpp>

#include <gtest/gtest.h>

#include <tools/idlewyn/failure/Failure.hpp>

namespace idlewyn::command {
namespace {

PromptRecord prompt(AgentProvider agent, const std::string& id, const std::string& detail,
                    std::optional<std::string> rule = std::nullopt) {
  return PromptRecord(agent, "session", "Title",
                      PermissionPrompt(id, "Bash", detail, platform::distantPast, std::move(rule)));
}

constexpr auto claude = AgentProvider::claude;
constexpr auto codex = AgentProvider::codex;

const PromptRecord one = prompt(claude, "a-1", "one"), longer = prompt(claude, "a-12", "new");
const PromptRecord two = prompt(codex, "a-2", "two"), odd = prompt(claude, "a\nb", "odd");
const PromptRecord ls = prompt(claude, "p", "ls");

// The second is the detail of what is chosen, or the kind of failure.
const std::tuple<std::string, std::string, std::size_t, const char*, std::vector<PromptRecord>>
    rows[] = {
        {"a-2", "two", 0, "the id", {one, two}},
        {"a-1", "one", 0, "a longer id is another prompt", {one, longer}},
        {"a-1", "ambiguousPrompt", 1, "never one that begins so: it was not seen", {longer}},
        {"a-", "ambiguousPrompt", 2, "a beginning names its candidates", {one, two}},
        {"p", "ambiguousPrompt", 2, "one id at two agents", {ls, prompt(codex, "p", "ls")}},
        {"p", "ambiguousPrompt", 2, "one id, two questions", {ls, prompt(claude, "p", "rm")}},
        {"p",
         "ambiguousPrompt",
         2,
         "so is another rule",
         {ls, prompt(claude, "p", "ls", "Bash(ls)")}},
        {"p", "ls", 0, "but not an empty one, which is none", {ls, prompt(claude, "p", "ls", "")}},
        {"p", "ls", 0, "the same question reported twice is one", {ls, ls}},
        {"a\\u{0A}b", "odd", 0, "an id as it is shown", {odd}},
        {"a\nb", "odd", 0, "and as it is", {odd}},
        {"P", "promptNotOpen", 0, "case counts", {ls}},
        {"", "promptNotOpen", 0, "nothing is not a beginning", {ls}},
        {"p", "promptNotOpen", 0, "nobody waits", {}},
};

TEST(PromptChoice, TakesTheWholeIdOrRefuses) {
  for (const auto& [asked, outcome, candidates, reason, open] : rows) {
    try {
      EXPECT_EQ(choosePrompt(open, asked).detail, outcome) << reason;
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.kind, outcome) << reason;
      EXPECT_EQ(failure.candidates.size(), candidates) << reason;
      for (const PromptRecord& candidate : failure.candidates)
        EXPECT_NE(failure.message.find(candidate.detail), std::string::npos) << reason;
    }
  }
}

}  // namespace
}  // namespace idlewyn::command

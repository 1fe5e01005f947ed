// SPDX-License-Identifier: MIT
#include "tools/idlewyn/PromptChoice.hpp"

#include <gtest/gtest.h>

#include "tools/idlewyn/Failure.hpp"

namespace idlewyn::command {
namespace {

PromptRecord prompt(AgentProvider agent, const std::string& id, const std::string& detail,
                    std::optional<std::string> rule = std::nullopt) {
  return PromptRecord(agent, "session", "Title",
                      PermissionPrompt(id, "Bash", detail, platform::distantPast, std::move(rule)));
}

constexpr auto claude = AgentProvider::claude;
constexpr auto codex = AgentProvider::codex;

struct Row {
  std::vector<PromptRecord> open;
  std::string asked;
  // The detail of what is chosen, or the kind of failure.
  std::string outcome;
  std::size_t candidates;
  std::string reason;
};

const std::vector<Row> rows{
    {{prompt(claude, "a-1", "one"), prompt(codex, "a-2", "two")}, "a-2", "two", 0, "the id"},
    {{prompt(claude, "a-1", "one"), prompt(claude, "a-12", "new")},
     "a-1",
     "one",
     0,
     "a longer id is another prompt"},
    {{prompt(claude, "a-12", "new")},
     "a-1",
     "ambiguousPrompt",
     1,
     "never one that begins so: it was not seen"},
    {{prompt(claude, "a-1", "one"), prompt(claude, "a-2", "two")},
     "a-",
     "ambiguousPrompt",
     2,
     "a beginning names its candidates"},
    {{prompt(claude, "p", "one"), prompt(codex, "p", "one")},
     "p",
     "ambiguousPrompt",
     2,
     "the same id at two agents"},
    {{prompt(claude, "p", "ls"), prompt(claude, "p", "rm")},
     "p",
     "ambiguousPrompt",
     2,
     "one id, two questions: which one is allowed?"},
    {{prompt(claude, "p", "ls"), prompt(claude, "p", "ls", "Bash(ls)")},
     "p",
     "ambiguousPrompt",
     2,
     "the rule is part of the question"},
    {{prompt(claude, "p", "ls"), prompt(claude, "p", "ls", "")},
     "p",
     "ls",
     0,
     "but not an empty one, which is none"},
    {{prompt(claude, "p", "ls"), prompt(claude, "p", "ls")},
     "p",
     "ls",
     0,
     "the same question reported twice is one"},
    {{prompt(claude, "a\nb", "odd")}, "a\\nb", "odd", 0, "an id as it is shown"},
    {{prompt(claude, "a\nb", "odd")}, "a\nb", "odd", 0, "and as it is"},
    {{prompt(claude, "p", "one")}, "P", "promptNotOpen", 0, "case counts"},
    {{prompt(claude, "p", "one")}, "", "promptNotOpen", 0, "nothing is not a beginning"},
    {{}, "p", "promptNotOpen", 0, "nobody waits"},
};

TEST(PromptChoice, TakesTheWholeIdOrRefuses) {
  for (const Row& row : rows) {
    try {
      EXPECT_EQ(choosePrompt(row.open, row.asked).detail, row.outcome) << row.reason;
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.kind, row.outcome) << row.reason;
      EXPECT_EQ(failure.candidates.size(), row.candidates) << row.reason;
      for (const PromptRecord& candidate : failure.candidates) {
        EXPECT_NE(failure.message.find(candidate.detail), std::string::npos) << row.reason;
      }
    }
  }
}

TEST(PromptChoice, ShowsPromptsWholeAndEscaped) {
  const std::string long_(5000, 'x');
  const auto lines = promptLines(prompt(claude, "p\x1b", long_ + "\n; rm", "Bash(x:*)"));
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], "p\\u{1B} · Claude · Title");
  EXPECT_EQ(lines[1], "  Bash: " + long_ + "\\n; rm");
  EXPECT_EQ(lines[2], "  always adds the rule Bash(x:*)");
  EXPECT_EQ(promptLines(prompt(codex, "p", "d")).size(), 2u) << "no rule, no always";
}

}  // namespace
}  // namespace idlewyn::command

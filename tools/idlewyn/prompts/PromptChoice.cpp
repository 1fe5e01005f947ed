// SPDX-License-Identifier: MIT
#include <tools/idlewyn/prompts/PromptChoice.hpp>

#include <algorithm>

#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <tools/idlewyn/failure/Failure.hpp>
#include <tools/idlewyn/terminal/Margin.hpp>
#include <tools/idlewyn/terminal/Table.hpp>

namespace idlewyn::command {
namespace {

Failure refusal(std::string kind, ExitCode code, const std::string& sentence,
                std::vector<PromptRecord> candidates, std::optional<std::size_t> columns) {
  std::string message = sentence;
  for (const PromptRecord& candidate : candidates) {
    for (const std::string& line : promptLines(candidate, "  ", columns))
      message += "\n" + line;
  }
  Failure failure(code, std::move(kind), std::move(message));
  failure.candidates = std::move(candidates);
  return failure;
}

}  // namespace

bool isSameQuestion(const PromptRecord& a, const PromptRecord& b) {
  return a.agent == b.agent && a.id == b.id && a.toolName == b.toolName && a.detail == b.detail &&
         a.alwaysRule == b.alwaysRule;
}

std::vector<PromptRecord> openPrompts(const std::vector<AgentSession>& sessions) {
  std::vector<PromptRecord> open;
  for (const AgentSession& session : sessions) {
    if (!session.permission) continue;
    open.emplace_back(session.provider, session.id, session.title, *session.permission);
  }
  return open;
}

bool isNamed(std::string_view id, std::string_view asked) {
  return id == asked || displayLine(id) == asked;
}

PromptRecord choosePrompt(const std::vector<PromptRecord>& open, std::string_view asked,
                          std::optional<std::size_t> columns) {
  std::vector<PromptRecord> exact, longer;
  for (const PromptRecord& prompt : open) {
    const bool isLonger = !asked.empty() && displayLine(prompt.id).starts_with(asked);
    if (isNamed(prompt.id, asked)) {
      const bool known = std::ranges::any_of(
          exact, [&](const PromptRecord& other) { return isSameQuestion(other, prompt); });
      if (!known) exact.push_back(prompt);
    } else if (isLonger) {
      longer.push_back(prompt);
    }
  }
  if (exact.size() == 1) return exact.front();
  if (!exact.empty()) {
    const bool oneAgent = std::ranges::all_of(
        exact, [&](const PromptRecord& prompt) { return prompt.agent == exact.front().agent; });
    throw refusal("ambiguousPrompt", ExitCode::failure,
                  oneAgent ? "Several questions bear that prompt id; nothing was answered:"
                           : "Several prompts bear that id; name the agent with --agent:",
                  std::move(exact), columns);
  }
  if (!longer.empty()) {
    throw refusal("ambiguousPrompt", ExitCode::failure,
                  "Give the whole ID of the prompt. Candidates:", std::move(longer), columns);
  }
  throw refusal("promptNotOpen", ExitCode::promptExpired,
                "No open prompt is called " + displayLine(asked) +
                    ". It may have been answered or have expired.",
                {}, columns);
}

std::string shownTitle(std::string_view title) {
  constexpr std::size_t widest = 60;
  return cutToWidth(displayLine(title), widest);
}

std::vector<std::string> promptLines(const PromptRecord& prompt, std::string_view indentation,
                                     std::optional<std::size_t> columns) {
  const std::string margin = std::string(indentation) + "  ";
  std::vector<std::string> lines{std::string(indentation) + displayLine(prompt.id) + " · " +
                                 std::string(shortName(prompt.agent)) + " · " +
                                 shownTitle(prompt.sessionTitle)};
  const auto append = [&](const std::string& heading, std::string_view text) {
    lines.push_back(margin + heading);
    for (std::string& line : behindMargin(text, margin, columns))
      lines.push_back(std::move(line));
  };
  append(displayLine(prompt.toolName) + ":", prompt.detail);
  if (prompt.alwaysRule) append("always adds the rule:", *prompt.alwaysRule);
  return lines;
}

}  // namespace idlewyn::command

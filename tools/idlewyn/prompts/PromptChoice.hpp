// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <IdlewynKit/model/AgentSession.hpp>

#include <tools/idlewyn/records/PromptRecord.hpp>

namespace idlewyn::command {

/// The open prompts, in the sessions' order.
std::vector<PromptRecord> openPrompts(const std::vector<AgentSession>& sessions);

/// The same agent asks the same thing by the same id.
bool isSameQuestion(const PromptRecord& a, const PromptRecord& b);

/// The prompt with that id, written as it is or as it is shown. Never one that merely begins so:
/// a prompt that the user has not seen must not be answered in place of one that is gone. Throws
/// a Failure with the candidates, wrapped where there are `columns`, when there is none, or when
/// prompts of several agents or of different content bear the id.
PromptRecord choosePrompt(const std::vector<PromptRecord>& open, std::string_view asked,
                          std::optional<std::size_t> columns = std::nullopt);

/// True when the user named it: as it is, or as it is shown.
bool isNamed(std::string_view id, std::string_view asked);

/// A session's title, escaped and cut: it only tells which session it is, and must not push away
/// what is asked.
std::string shownTitle(std::string_view title);

/// What is asked, whole: a line with id, agent and session, then after a margin the tool's detail
/// and the rule that `always` would add, where there is one. Wrapped where there are `columns`.
std::vector<std::string> promptLines(const PromptRecord& prompt, std::string_view indentation = "",
                                     std::optional<std::size_t> columns = std::nullopt);

}  // namespace idlewyn::command

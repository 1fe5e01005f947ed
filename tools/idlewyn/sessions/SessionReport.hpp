// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <IdlewynKit/model/SessionTransition.hpp>

#include <tools/idlewyn/sessions/OldAgents.hpp>
#include <tools/idlewyn/terminal/Output.hpp>

/// Snapshots as people read them. Every text is escaped and, but for the line break at its end,
/// complete.
namespace idlewyn::command {

/// One line a session in display order, in which prompts are only named; "No sessions" for none.
/// Those of `old` agents come last, with ages that stand still.
std::string sessionTable(const SessionSnapshot& snapshot, Date now, const Style& style,
                         const OldAgents& old = {});

/// The open prompts with what is asked, and the answers that each takes. Empty for none. With
/// `mostLines`, what is left out of a longer prompt is said, with the command that shows it.
std::string promptReport(const SessionSnapshot& snapshot, const Style& style,
                         std::optional<std::size_t> mostLines = std::nullopt);

/// A line for each agent that failed, with how long ago it `answered` where that is known, and
/// what else there is to say about it.
std::string errorReport(const std::map<AgentProvider, std::exception_ptr>& errors,
                        const Style& style, const std::map<AgentProvider, Date>& answered = {});

std::string transitionLine(const SessionTransition& transition, const Style& style);

/// Table, prompts, the report of errors and the summary, with empty lines between.
void reportSnapshot(Output& output, const SessionSnapshot& snapshot, const OldAgents& old,
                    const std::string& errors, Date now);

/// "0:42", "12:05", "1:02:03"; times to come count as 0.
std::string elapsedText(double seconds);

}  // namespace idlewyn::command

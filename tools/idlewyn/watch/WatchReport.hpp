// SPDX-License-Identifier: MIT
#pragma once

#include <deque>
#include <string>
#include <vector>

#include <tools/idlewyn/records/SessionRecords.hpp>
#include <tools/idlewyn/terminal/Output.hpp>
#include <tools/idlewyn/watch/Watcher.hpp>

/// What `watch` shows of what it knows.
namespace idlewyn::command {

/// Each failing agent in one line: what is wrong, since when, and what is done about it. With
/// `details`, also what the user can do.
std::string watchErrors(const Watcher& watcher, Watcher::Time now, bool details,
                        const Style& style);

/// The same for programs.
std::vector<AgentErrorRecord> watchErrorRecords(const Watcher& watcher, Watcher::Time now);

/// What a round of text says, without what changes by itself: times, and the order that comes
/// from them.
std::string watchContent(const Watcher& watcher);

/// One round of text that goes on and on.
void reportRound(Output& output, const Watcher& watcher,
                 const std::vector<SessionTransition>& transitions, Watcher::Time now);
void reportRoundJSON(Output& output, const Watcher& watcher,
                     const std::vector<SessionTransition>& transitions,
                     std::optional<std::vector<WatchAnswerRecord>> answers, Watcher::Time now);

/// All of it at once, the most important first, for a screen that is redrawn. `news` are lines.
std::string watchScreen(const Watcher& watcher, const std::deque<std::string>& news,
                        Watcher::Time now, const Style& style);

/// By the local clock.
std::string timeOfDay();

}  // namespace idlewyn::command

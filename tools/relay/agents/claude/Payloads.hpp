// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include <tools/relay/agents/Json.hpp>

/// What Claude Code's hooks hand over, read into what the relay shows.
namespace idlewyn::relay::claude {

/// Everything that a tool is about to run or write, whole: a command as it is, for files their
/// names and texts, for any other tool its input as JSON.
std::string detailOf(const std::string& tool, const json::Object& input);

/// What the agent does, in one line: "$ make", "Read main.cpp".
std::string activityOf(const std::string& tool, const json::Object& input);

/// The rules that "always" would store, out of what Claude suggests. Suggestions that change a
/// mode or open a folder are none: nobody who allows one file wants all edits accepted.
struct SuggestedRules {
  /// "Bash(make test)", as Claude stores it for this project; "Bash(make test) in all projects"
  /// where it stores it elsewhere. Several are separated by commas.
  std::string shown;
  /// The suggestions that are shown, reduced to what is shown of them, to be sent back.
  boost::json::array suggestions;
};

/// No value when no suggestion is a rule that allows.
std::optional<SuggestedRules> suggestedRules(const json::Object& payload);

/// Tools that ask the person something which an answer from afar can't say.
bool isQuestionTool(const std::string& tool);

/// Work goes on behind an ended turn.
bool hasRunningTasks(const json::Object& payload);

/// Claude Code's configuration folder, by where the session's transcript lies. Empty when that
/// can't be told.
std::string configurationFolder(const json::Object& payload);

}  // namespace idlewyn::relay::claude

// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <tools/idlewyn/commands/CommandTable.hpp>

/// Completions of commands, options, words, files and the ids of open prompts, to be read by the
/// shells.
namespace idlewyn::command {

std::string bashCompletions(const CommandTable& table);
std::string zshCompletions(const CommandTable& table);
std::string fishCompletions(const CommandTable& table);

}  // namespace idlewyn::command

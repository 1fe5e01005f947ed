// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <tools/idlewyn/commands/CommandTable.hpp>

namespace idlewyn::command {

/// What a command's help says behind its options: notes and examples.
std::string footerOf(const Command& command);

/// idlewyn(1), in the man macros of roff.
std::string manualPage(const CommandTable& table);

/// A command as it is written: "pair [--agent AGENT] [link]".
std::string synopsisOf(const Command& command);

}  // namespace idlewyn::command

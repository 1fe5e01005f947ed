// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

/// `hooks install`, `hooks remove` and `hooks show`: the agents' settings files on disk.
///
///     HookFilesOptions options;
///     options.action = HookAction::install;
///     options.program = "/usr/lib/idlewyn/idlewyn-relay-hook";
///     return runHooks(options, std::cin, std::cout);
namespace idlewyn::relay {

enum class HookAction : std::uint8_t { install, remove, show };

struct HookFilesOptions {
  HookAction action = HookAction::show;
  /// The agents' configuration folders; empty for those of this user that exist.
  std::vector<std::string> folders;
  /// "claude" or "codex", for folders that don't show it; empty otherwise.
  std::string agent;
  /// The user's home.
  std::string home;
  /// The hook program, and its socket where the relay has a folder of its own.
  std::string program;
  std::string socket;
  /// Write without asking.
  bool isSure = false;
  /// Somebody can be asked.
  bool isTerminal = false;
};

/// Shows what changes, asks, keeps a copy of each file beside it, and writes. The exit status: 0,
/// or 1 when something was not done, which `out` then says.
int runHooks(const HookFilesOptions& options, std::istream& in, std::ostream& out);

/// The version that `claude --version` tells; empty when it can't be run.
std::string installedClaudeVersion();

}  // namespace idlewyn::relay

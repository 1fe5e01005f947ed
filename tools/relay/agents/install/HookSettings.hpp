// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// The hooks of an agent's settings, as text in and text out: our entries are added and taken
/// out, and nothing else changes by a byte.
///
///     std::string after = withHooks(text, {"claude", hookProgram, socket, events});
namespace idlewyn::relay {

struct HookPlan {
  /// "claude" or "codex".
  std::string agent;
  /// The hook program's path.
  std::string program;
  /// `--socket`; empty where the relay has its usual folder.
  std::string socket;
  std::vector<std::string> events;
};

/// The document is no JSON object, or its hooks are not what the agent expects. The text says
/// where, by line and column.
class SettingsError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The settings with one entry of ours for each event. Entries that run exactly that stay as they
/// are; those of another path, socket or event of ours go. An empty text counts as `{}`. Throws
/// SettingsError.
std::string withHooks(std::string_view text, const HookPlan& plan);

/// The settings without our commands, whoever edited them since; a person's own command beside
/// ours stays. Throws SettingsError.
std::string withoutHooks(std::string_view text, std::string_view agent);

/// The events for which a command of ours is there. Throws SettingsError.
std::vector<std::string> hookedEvents(std::string_view text, std::string_view agent);

/// The events that this version of Claude Code ("2.1.331") knows and the relay uses. An unknown
/// event in its settings stops Claude Code at its start.
std::vector<std::string> claudeEvents(std::string_view version);
std::vector<std::string> codexEvents();

}  // namespace idlewyn::relay

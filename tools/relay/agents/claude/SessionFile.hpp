// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// The file in which a running Claude Code says how its session is (`sessions/PID.json`). It is
/// undocumented: it serves to withdraw what is over, never to make anything up.
namespace idlewyn::relay::claude {

struct SessionFile {
  std::string sessionID;
  /// "idle", "busy" or "waiting".
  std::string status;
  /// When its process began, in the kernel's ticks; 0 when the file doesn't say.
  std::uint64_t processStart = 0;
  /// Somebody can sit at its terminal.
  bool isInteractive = false;
};

/// "123.json", and nothing else that lies there.
bool isSessionFileName(std::string_view name);

/// No value when the file can't be read or says nothing of a session.
std::optional<SessionFile> sessionFile(const std::string& path);

}  // namespace idlewyn::relay::claude

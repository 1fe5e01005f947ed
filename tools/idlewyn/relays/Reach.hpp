// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace idlewyn::command {

/// How far a connection to a server came.
struct Reach {
  /// That the name stands for.
  std::vector<std::string> addresses;
  /// The one that took a connection.
  std::optional<std::string> connected;
  /// Of the step that failed, as the system says it.
  std::string error;
  /// The machine answers, and nothing listens there.
  bool isRefused = false;
  /// Nobody answered in time.
  bool isLate = false;
};

}  // namespace idlewyn::command

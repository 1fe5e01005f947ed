// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <string>

/// The rows that both sides show: five texts, three symbols and three capsules each, in columns.
namespace idlewyn::bench {

inline constexpr int columns = 10;
inline constexpr int rowsOfColumn = 100;
inline constexpr double columnWidth = 420;

/// Texts of a row; another `round` gives others, so that nothing is known of them yet.
struct RowTexts {
  std::string title, project, badge, activity, count;
};

inline RowTexts rowTexts(int row, int round) {
  const std::string number = std::to_string(row + 1000 * round);
  return {"Refactor the auth middleware " + number, "relay-client " + number,
          (row % 2 == 0 ? "Claude Code " : "Codex ") + number,
          "Read: Sources/Authentication/Session" + number + "/Middleware.swift",
          std::to_string(row % 7) + "/" + number};
}

}  // namespace idlewyn::bench

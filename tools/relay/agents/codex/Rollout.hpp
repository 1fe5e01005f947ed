// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// A line of the file in which Codex records a session. It tells what no hook tells: that a turn
/// failed, and that it was interrupted.
///
///     if (const auto end = turnEnd(line); end && end->kind == TurnEnd::Kind::failed) ...
namespace idlewyn::relay::codex {

struct TurnEnd {
  enum class Kind : std::uint8_t { finished, failed, interrupted };

  TurnEnd(Kind kind, std::string message) : kind(kind), message(std::move(message)) {}

  friend bool operator==(const TurnEnd&, const TurnEnd&) = default;

  Kind kind;
  /// What the agent said last, or what failed, as readable text. May be empty.
  std::string message;
};

/// No value for a line that ends no turn, and for one that can't be read.
std::optional<TurnEnd> turnEnd(std::string_view line);

/// The message of a model server's error: `text` itself, or what its JSON says.
std::string errorMessage(std::string_view text);

}  // namespace idlewyn::relay::codex

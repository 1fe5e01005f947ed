// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include <IdlewynKit/platform/base/RawValue.hpp>

/// The coding agent behind a session or a connection.
///
///     for (AgentProvider p : allCases<AgentProvider>())
///       menu.add(displayName(p), symbolName(p));
namespace idlewyn {

using platform::allCases;
using platform::fromRawValue;
using platform::rawValue;

enum class AgentProvider : std::uint8_t { claude, codex };

}  // namespace idlewyn

template <>
struct idlewyn::platform::RawValues<idlewyn::AgentProvider> {
  static constexpr std::string_view typeName = "AgentProvider";
  static constexpr std::array<std::string_view, 2> texts{"claude", "codex"};
  static constexpr bool isIterable = true;
};

namespace idlewyn {

/// The identity: the raw value.
constexpr std::string_view id(AgentProvider provider) noexcept { return rawValue(provider); }

constexpr std::string_view displayName(AgentProvider provider) noexcept {
  return provider == AgentProvider::claude ? "Claude Code" : "Codex";
}
constexpr std::string_view shortName(AgentProvider provider) noexcept {
  return provider == AgentProvider::claude ? "Claude" : "Codex";
}
/// The name of a symbol of the symbol set.
constexpr std::string_view symbolName(AgentProvider provider) noexcept {
  return provider == AgentProvider::claude ? "sparkle" : "chevron.left.forwardslash.chevron.right";
}

}  // namespace idlewyn

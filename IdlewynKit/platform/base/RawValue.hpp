// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <optional>
#include <string_view>

/// Closed sets that travel as text: one table a type gives raw values, look-up and cases.
///
///     rawValue(AgentProvider::claude);              // "claude"
///     fromRawValue<AgentProvider>("codex");         // AgentProvider::codex
///     for (SessionStatus s : allCases<SessionStatus>()) ...
namespace idlewyn::platform {

/// Specialised for each closed set, whose enumerators must be 0, 1, 2 ... in declaration order:
/// `typeName`, `texts` (the raw values in that order), `isIterable` (whether `allCases`
/// exists) and, for a tolerant set, `fallback` (what an unknown text decodes to).
template <class E>
struct RawValues;

template <class E>
concept RawRepresentable = requires {
  { RawValues<E>::typeName } -> std::convertible_to<std::string_view>;
  RawValues<E>::texts.size();
};

/// Empty for a value without an enumerator.
template <RawRepresentable E>
constexpr std::string_view rawValue(E value) noexcept {
  const auto& texts = RawValues<E>::texts;
  const auto index = static_cast<std::size_t>(value);
  return index < texts.size() ? texts[index] : std::string_view();
}

/// Exact, case-sensitive match of the whole text.
template <RawRepresentable E>
constexpr std::optional<E> fromRawValue(std::string_view text) noexcept {
  const auto& texts = RawValues<E>::texts;
  const auto found = std::find(texts.begin(), texts.end(), text);
  if (found == texts.end()) return std::nullopt;
  return static_cast<E>(found - texts.begin());
}

/// Every case in declaration order.
template <RawRepresentable E>
requires(RawValues<E>::isIterable) constexpr auto allCases() noexcept {
  std::array<E, RawValues<E>::texts.size()> cases{};
  for (std::size_t i = 0; i < cases.size(); ++i)
    cases[i] = static_cast<E>(i);
  return cases;
}

}  // namespace idlewyn::platform

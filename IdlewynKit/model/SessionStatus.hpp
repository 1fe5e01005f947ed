// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include <IdlewynKit/platform/base/RawValue.hpp>

/// The state of one agent session.
///
///     if (needsAttention(session.status)) notify(label(session.status));
namespace idlewyn {

using platform::allCases;
using platform::fromRawValue;
using platform::rawValue;

enum class SessionStatus : std::uint8_t { working, waitingForInput, finished, failed, idle };

}  // namespace idlewyn

/// An unknown text decodes to `idle`, so that a newer relay's answer can still be read.
template <>
struct idlewyn::platform::RawValues<idlewyn::SessionStatus> {
  static constexpr std::string_view typeName = "SessionStatus";
  static constexpr std::array<std::string_view, 5> texts{"working", "waitingForInput", "finished",
                                                         "failed", "idle"};
  static constexpr bool isIterable = true;
  static constexpr SessionStatus fallback = SessionStatus::idle;
};

namespace idlewyn {

namespace internal {
struct StatusFacts {
  std::string_view label;
  std::string_view symbolName;
  std::int64_t sortRank;
  bool needsAttention;
};
inline constexpr std::array<StatusFacts, 5> statusFacts{{
    {"Working", "circle.dotted.circle", 1, false},
    {"Needs input", "hand.raised.fill", 0, true},
    {"Finished", "checkmark.circle.fill", 3, true},
    {"Failed", "exclamationmark.triangle.fill", 2, true},
    {"Idle", "moon.zzz.fill", 4, false},
}};
/// Those of `idle` for a value without an enumerator.
constexpr const StatusFacts& facts(SessionStatus status) noexcept {
  const auto index = static_cast<std::size_t>(status);
  return index < statusFacts.size() ? statusFacts[index] : statusFacts.back();
}
}  // namespace internal

constexpr std::string_view label(SessionStatus status) noexcept {
  return internal::facts(status).label;
}
/// The name of a symbol of the symbol set.
constexpr std::string_view symbolName(SessionStatus status) noexcept {
  return internal::facts(status).symbolName;
}
/// Display order, lowest first: waiting, working, failed, finished, idle.
constexpr std::int64_t sortRank(SessionStatus status) noexcept {
  return internal::facts(status).sortRank;
}
/// Waiting for input, finished and failed.
constexpr bool needsAttention(SessionStatus status) noexcept {
  return internal::facts(status).needsAttention;
}
constexpr bool isWorking(SessionStatus status) noexcept { return status == SessionStatus::working; }

}  // namespace idlewyn

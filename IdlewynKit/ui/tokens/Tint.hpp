// SPDX-License-Identifier: MIT
#pragma once

#include <IdlewynKit/model/AgentProvider.hpp>
#include <IdlewynKit/model/SessionStatus.hpp>
#include <IdlewynKit/ui/tokens/Palette.hpp>

/// The colours of agents and of states.
///
///     symbol(symbolName(session.status)).foreground(tint(session.status));
namespace idlewyn {

/// One for all agents: what tells them apart is title and symbol.
constexpr Color tint(AgentProvider) noexcept { return Palette::providerBadge; }

constexpr Color tint(SessionStatus status) noexcept {
  switch (status) {
    case SessionStatus::working: return Palette::Status::working;
    case SessionStatus::waitingForInput: return Palette::Status::waiting;
    case SessionStatus::finished: return Palette::Status::finished;
    case SessionStatus::failed: return Palette::Status::failed;
    case SessionStatus::idle: break;
  }
  return Palette::Status::idle;
}

}  // namespace idlewyn

// SPDX-License-Identifier: MIT
#include "SandboxService.hpp"

#include <utility>

namespace idlewyn::sandbox {

using relay::Access;
using relay::DecisionOutcome;

SandboxService::SandboxService(RelayState& state, std::string account)
    : state_(state), account_(std::move(account)) {}

PairingResult SandboxService::pair(AgentProvider provider, const std::string& code,
                                   const std::string& /*origin*/) {
  return state_.pair(provider, code);
}

std::optional<Access> SandboxService::admit(const std::string& token,
                                            const std::string& /*origin*/) {
  if (!state_.isValid(token)) return std::nullopt;
  return Access(token, std::nullopt);
}

void SandboxService::sessions(const Access& /*access*/, std::optional<AgentProvider> provider,
                              SessionsTaken taken) {
  taken(state_.sessions(provider));
}

void SandboxService::decide(const Access& /*access*/, const std::string& promptID,
                            PermissionDecision decision, Decided decided) {
  const bool known = state_.decide(promptID, decision);
  decided(known ? DecisionOutcome::accepted : DecisionOutcome::gone);
}

bool SandboxService::setRemoteApprovals(bool enabled) {
  state_.setRemoteApprovals(enabled);
  return state_.remoteApprovals();
}

bool SandboxService::keepPushToken(const Access& access, PushTokenRegistration registration) {
  state_.keepPushToken(access.owner, std::move(registration));
  return true;
}

void SandboxService::unpair(const Access& /*access*/, const std::string& token) {
  state_.unpair(token);
}

}  // namespace idlewyn::sandbox

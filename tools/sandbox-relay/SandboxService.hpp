// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <tools/relay-core/Service.hpp>
#include "RelayState.hpp"

namespace idlewyn::sandbox {

/// The sandbox's state as the endpoints ask for it. Every call completes at once; any token is
/// good for both agents. May be used from any thread.
class SandboxService final : public relay::Service {
 public:
  SandboxService(RelayState& state, std::string account);

  std::string account() const override { return account_; }
  PairingResult pair(AgentProvider provider, const std::string& code,
                     const std::string& origin) override;
  std::optional<relay::Access> admit(const std::string& token, const std::string& origin) override;
  void sessions(const relay::Access& access, std::optional<AgentProvider> provider,
                SessionsTaken taken) override;
  void decide(const relay::Access& access, const std::string& promptID, PermissionDecision decision,
              Decided decided) override;
  bool remoteApprovals() const override { return state_.remoteApprovals(); }
  bool setRemoteApprovals(bool enabled) override;
  bool keepPushToken(const relay::Access& access, PushTokenRegistration registration) override;
  void unpair(const relay::Access& access, const std::string& token) override;

 private:
  RelayState& state_;
  const std::string account_;
};

}  // namespace idlewyn::sandbox

// SPDX-License-Identifier: MIT
#include "PairingDesk.hpp"

#include <tools/relay-core/Secrets.hpp>

namespace idlewyn::sandbox {

PairingResult PairingDesk::pair(AgentProvider provider, const std::string& code, Date now) {
  if (lockedUntil_ && now < *lockedUntil_) {
    return {PairingOutcome::tooManyAttempts, {}, lockTime};
  }
  lockedUntil_.reset();
  if (!codes_.use(provider, code, now)) {
    if (++wrongCodes_ == wrongCodesAllowed) {
      wrongCodes_ = 0;
      lockedUntil_ = now + lockTime;
    }
    return PairingOutcome::wrongCode;
  }
  wrongCodes_ = 0;
  return {PairingOutcome::paired, issueToken(provider)};
}

std::string PairingDesk::issueToken(AgentProvider provider) {
  std::string token = "sandbox-" + relay::randomToken();
  tokens_.emplace(token, provider);
  return token;
}

}  // namespace idlewyn::sandbox

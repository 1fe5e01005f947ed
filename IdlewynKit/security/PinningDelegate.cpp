// SPDX-License-Identifier: MIT
#include <IdlewynKit/security/PinningDelegate.hpp>

#include <utility>

#include <IdlewynKit/security/CertificatePin.hpp>

namespace idlewyn {

PinningDelegate::PinningDelegate(std::optional<std::string> pin)
    : pin_(pin ? std::optional(CertificatePin::normalized(*pin)) : std::nullopt) {}

std::optional<std::string> PinningDelegate::seen() const {
  const std::lock_guard lock(mutex_);
  return seen_;
}

ChallengeAnswer PinningDelegate::didReceive(AuthenticationMethod method,
                                            const std::optional<ServerTrust>& trust) {
  if (method != AuthenticationMethod::serverTrust || !trust) {
    return ChallengeAnswer(ChallengeDisposition::performDefaultHandling, std::nullopt);
  }
  ChallengeAnswer refusal(ChallengeDisposition::cancelAuthenticationChallenge, std::nullopt);
  if (trust->certificateChain.empty()) return refusal;

  std::string fingerprint = CertificatePin::fingerprint(trust->certificateChain.front());
  const bool accepted = !pin_ || *pin_ == fingerprint;
  {
    // Before the decision is given: a refused certificate is recorded too.
    const std::lock_guard lock(mutex_);
    seen_ = std::move(fingerprint);
  }
  if (!accepted) return refusal;
  return ChallengeAnswer(ChallengeDisposition::useCredential, URLCredential(*trust));
}

}  // namespace idlewyn

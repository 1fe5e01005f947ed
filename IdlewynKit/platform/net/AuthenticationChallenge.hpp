// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <utility>

#include <IdlewynKit/platform/crypto/Certificate.hpp>

namespace idlewyn::platform {

/// What a server asks to be decided or supplied before the exchange goes on.
enum class AuthenticationMethod { serverTrust, clientCertificate, httpBasic, httpDigest };

/// How a challenge is to be met. The numbers are part of the interface.
enum class ChallengeDisposition : int {
  useCredential = 0,
  performDefaultHandling = 1,
  cancelAuthenticationChallenge = 2,
};

/// The permission to go on with a server, made from what it presented.
struct URLCredential {
  explicit URLCredential(ServerTrust trust) : trust(std::move(trust)) {}

  friend bool operator==(const URLCredential&, const URLCredential&) = default;

  ServerTrust trust;
};

/// The one answer to a challenge; a credential goes with `useCredential` only.
struct ChallengeAnswer {
  ChallengeAnswer(ChallengeDisposition disposition, std::optional<URLCredential> credential)
      : disposition(disposition), credential(std::move(credential)) {}

  friend bool operator==(const ChallengeAnswer&, const ChallengeAnswer&) = default;

  ChallengeDisposition disposition;
  std::optional<URLCredential> credential;
};

}  // namespace idlewyn::platform

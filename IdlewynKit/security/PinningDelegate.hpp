// SPDX-License-Identifier: MIT
#pragma once

#include <mutex>
#include <optional>
#include <string>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/net/URLSession.hpp>

/// The delegate behind pinned sessions, and behind trust on first use.
///
///     auto delegate = std::make_shared<PinningDelegate>(std::nullopt);
///     auto session = URLSession::ephemeral(delegate);
///     co_await session->data(request);
///     std::optional<std::string> pin = delegate->seen();
namespace idlewyn {

using platform::AuthenticationMethod;
using platform::ChallengeAnswer;
using platform::ChallengeDisposition;
using platform::ServerTrust;
using platform::URLCredential;

class IDLEWYNKIT_EXPORT PinningDelegate final : public platform::URLSessionDelegate {
 public:
  /// A pin is normalised; without one any certificate is accepted.
  explicit PinningDelegate(std::optional<std::string> pin);

  const std::optional<std::string>& pin() const noexcept { return pin_; }

  /// The fingerprint of the leaf certificate of the most recent server-trust challenge, refused
  /// ones included. A copy taken under its lock; any thread.
  std::optional<std::string> seen() const;

  /// Accepts a server whose leaf certificate has the pin as its fingerprint (any server without
  /// a pin), whatever its chain, dates and names say, and cancels for any other or for an
  /// empty chain. Other methods, and an absent trust, are left to default handling. Any thread.
  ChallengeAnswer didReceive(AuthenticationMethod method,
                             const std::optional<ServerTrust>& trust) override;

 private:
  const std::optional<std::string> pin_;
  mutable std::mutex mutex_;
  std::optional<std::string> seen_;  // guarded by mutex_
};

}  // namespace idlewyn

// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include <IdlewynKit/security/CertificatePin.hpp>

#include <tools/idlewyn/failure/Failure.hpp>
#include <tools/idlewyn/relays/Relays.hpp>

namespace idlewyn::command {

/// The certificate that the server at an https address shows. The handshake is broken off
/// there: nothing of HTTP is sent, no code and no token. Throws what the library throws when it
/// doesn't come so far, a Failure when interrupted.
Certificate probeCertificate(const URL& address, Relays& relays);

/// Its fingerprint; nothing when it can't be seen, for which `mismatchFailure` has words.
std::optional<std::string> fingerprintIfSeen(const URL& address, Relays& relays);

/// With both fingerprints and what to do next.
Failure mismatchFailure(AgentProvider agent, const std::string& pinned,
                        const std::optional<std::string>& seen);
/// The same before anything is paired, where there is no pin to replace.
Failure pairingMismatchFailure(AgentProvider agent, const std::string& wanted,
                               const std::optional<std::string>& seen);

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

#include <IdlewynKit/IdlewynKit.hpp>
#include <tests/support/ErrorText.hpp>
#include <tools/sandbox-relay/SandboxRelay.hpp>

/// What tests over a sandbox relay share.
namespace idlewyn::testing {

inline sandbox::Options plainHTTP(std::string prefix = "") {
  sandbox::Options options;
  options.tls = false;
  options.pathPrefix = std::move(prefix);
  return options;
}

inline LiveSessionService liveService() {
  return LiveSessionService(RelayClient(URLSession::shared()));
}

/// A connection without having paired, pinned when the relay speaks TLS.
inline Connection connectionTo(sandbox::SandboxRelay& relay,
                               AgentProvider provider = AgentProvider::claude) {
  const std::string pin = relay.fingerprint();
  return Connection(provider, relay.address(), relay.issueToken(provider), "account", Date{},
                    pin.empty() ? std::nullopt : std::optional(pin));
}

inline std::string headerOf(const sandbox::RecordedRequest& request, std::string_view name) {
  for (const auto& [key, value] : request.headers) {
    if (key == name) return value;
  }
  return "(none)";
}

}  // namespace idlewyn::testing

// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include <IdlewynKit/model/AgentProvider.hpp>
#include <IdlewynKit/model/PermissionPrompt.hpp>
#include <IdlewynKit/model/PushTokenRegistration.hpp>
#include <IdlewynKit/platform/net/URLRequest.hpp>

/// The requests of the relay's protocol, one function an endpoint. `server` is the relay's base
/// address; all but pairing carry the bearer token. Throw EncodingError.
namespace idlewyn::internal {

struct RelayAccess {
  RelayAccess(platform::URL server, std::string token)
      : server(std::move(server)), token(std::move(token)) {}

  platform::URL server;
  std::string token;
};

platform::URLRequest pairRequest(const platform::URL& server, AgentProvider provider,
                                 const std::string& code);
platform::URLRequest sessionsRequest(const RelayAccess& relay, AgentProvider provider);
platform::URLRequest decideRequest(const RelayAccess& relay, std::string_view promptID,
                                   PermissionDecision decision);
platform::URLRequest settingsRequest(const RelayAccess& relay);
platform::URLRequest changeSettingsRequest(const RelayAccess& relay, bool remoteApprovals);
platform::URLRequest pushTokenRequest(const RelayAccess& relay,
                                      const PushTokenRegistration& registration);
platform::URLRequest unpairRequest(const RelayAccess& relay);

}  // namespace idlewyn::internal

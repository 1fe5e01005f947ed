// SPDX-License-Identifier: MIT
#include <IdlewynKit/relay/internal/RelayRequests.hpp>

#include <array>

#include <IdlewynKit/model/JSONCoding.hpp>
#include <IdlewynKit/relay/internal/WireRecords.hpp>

namespace idlewyn::internal {

namespace {

using platform::Data;
using platform::URLRequest;

constexpr std::chrono::seconds relayTimeout(10);

URLRequest request(platform::URL url) {
  URLRequest made(std::move(url));
  made.timeoutInterval = relayTimeout;
  return made;
}

URLRequest authorized(platform::URL url, const RelayAccess& relay) {
  URLRequest made = request(std::move(url));
  made.setHeader("Authorization", "Bearer " + relay.token);
  return made;
}

URLRequest json(URLRequest made) {
  made.setHeader("Content-Type", "application/json");
  return made;
}

URLRequest post(URLRequest made, std::optional<Data> body) {
  made.method = "POST";
  made.body = std::move(body);
  return json(std::move(made));
}

}  // namespace

URLRequest pairRequest(const platform::URL& server, AgentProvider provider,
                       const std::string& code) {
  const PairRequest body(provider, code);
  return post(request(server.appendingPath("v1/pair")), JSONEncoder::relay().encode(body));
}

URLRequest sessionsRequest(const RelayAccess& relay, AgentProvider provider) {
  const std::array items{platform::URLQueryItem("provider", std::string(rawValue(provider)))};
  return authorized(relay.server.appendingPath("v1/sessions").appendingQueryItems(items), relay);
}

URLRequest decideRequest(const RelayAccess& relay, std::string_view promptID,
                         PermissionDecision decision) {
  const std::string path = std::string("v1/permissions/").append(promptID);
  return post(authorized(relay.server.appendingPath(path), relay),
              JSONEncoder::relay().encode(PermissionAnswer(decision)));
}

URLRequest settingsRequest(const RelayAccess& relay) {
  return json(authorized(relay.server.appendingPath("v1/settings"), relay));
}

URLRequest changeSettingsRequest(const RelayAccess& relay, bool remoteApprovals) {
  return post(authorized(relay.server.appendingPath("v1/settings"), relay),
              JSONEncoder::relay().encode(SettingsPayload(remoteApprovals)));
}

URLRequest pushTokenRequest(const RelayAccess& relay, const PushTokenRegistration& registration) {
  return post(authorized(relay.server.appendingPath("v1/push/tokens"), relay),
              JSONEncoder::relay().encode(registration));
}

URLRequest unpairRequest(const RelayAccess& relay) {
  return post(authorized(relay.server.appendingPath("v1/unpair"), relay), std::nullopt);
}

}  // namespace idlewyn::internal

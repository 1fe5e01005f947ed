// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <IdlewynKit/model/AgentSession.hpp>

/// The bodies of the relay's protocol that are not records of their own.
namespace idlewyn::internal {

struct PairRequest {
  PairRequest(AgentProvider provider, std::string code)
      : provider(provider), code(std::move(code)) {}
  explicit PairRequest(platform::DecodingKey) {}
  static constexpr auto fields() {
    return std::tuple{platform::field("provider", &PairRequest::provider),
                      platform::field("code", &PairRequest::code)};
  }

  AgentProvider provider{};
  std::string code;
};

struct PairResponse {
  explicit PairResponse(platform::DecodingKey) {}
  static constexpr auto fields() {
    return std::tuple{platform::field("token", &PairResponse::token),
                      platform::field("account", &PairResponse::account)};
  }

  std::string token;
  std::string account;
};

struct SessionsResponse {
  explicit SessionsResponse(platform::DecodingKey) {}
  static constexpr auto fields() {
    return std::tuple{platform::field("sessions", &SessionsResponse::sessions)};
  }

  std::vector<AgentSession> sessions;
};

struct OKResponse {
  explicit OKResponse(platform::DecodingKey) {}
  static constexpr auto fields() { return std::tuple{platform::field("ok", &OKResponse::ok)}; }

  bool ok = false;
};

struct SettingsPayload {
  explicit SettingsPayload(bool enabled) : remoteApprovals(enabled) {}
  explicit SettingsPayload(platform::DecodingKey) {}
  static constexpr auto fields() {
    return std::tuple{platform::field("remoteApprovals", &SettingsPayload::remoteApprovals)};
  }

  bool remoteApprovals = false;
};

struct PermissionAnswer {
  explicit PermissionAnswer(PermissionDecision answer) : decision(answer) {}
  explicit PermissionAnswer(platform::DecodingKey) {}
  static constexpr auto fields() {
    return std::tuple{platform::field("decision", &PermissionAnswer::decision)};
  }

  PermissionDecision decision{};
};

}  // namespace idlewyn::internal

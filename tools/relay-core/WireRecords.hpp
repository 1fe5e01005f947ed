// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <IdlewynKit/model/AgentSession.hpp>

/// The JSON objects of a relay's endpoints.
namespace idlewyn::relay::wire {

using platform::DecodingKey;
using platform::field;

struct PairRequest {
  explicit PairRequest(DecodingKey) {}
  static constexpr auto fields() {
    return std::tuple{field("provider", &PairRequest::provider), field("code", &PairRequest::code)};
  }
  AgentProvider provider{};
  std::string code;
};

struct PairAnswer {
  PairAnswer(std::string token, std::string account)
      : token(std::move(token)), account(std::move(account)) {}
  explicit PairAnswer(DecodingKey) {}
  static constexpr auto fields() {
    return std::tuple{field("token", &PairAnswer::token), field("account", &PairAnswer::account)};
  }
  std::string token;
  std::string account;
};

struct Sessions {
  explicit Sessions(std::vector<AgentSession> sessions) : sessions(std::move(sessions)) {}
  explicit Sessions(DecodingKey) {}
  static constexpr auto fields() { return std::tuple{field("sessions", &Sessions::sessions)}; }
  std::vector<AgentSession> sessions;
};

struct DecisionRequest {
  explicit DecisionRequest(DecodingKey) {}
  static constexpr auto fields() {
    return std::tuple{field("decision", &DecisionRequest::decision)};
  }
  PermissionDecision decision{};
};

struct OK {
  OK() = default;
  explicit OK(DecodingKey) {}
  static constexpr auto fields() { return std::tuple{field("ok", &OK::ok)}; }
  bool ok = true;
};

struct Settings {
  explicit Settings(bool remoteApprovals) : remoteApprovals(remoteApprovals) {}
  explicit Settings(DecodingKey) {}
  static constexpr auto fields() {
    return std::tuple{field("remoteApprovals", &Settings::remoteApprovals)};
  }
  bool remoteApprovals = false;
};

}  // namespace idlewyn::relay::wire

// SPDX-License-Identifier: MIT
#include "Endpoints.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include <IdlewynKit/model/JSONCoding.hpp>
#include <IdlewynKit/platform/base/UTF8.hpp>

#include "WireRecords.hpp"

namespace idlewyn::sandbox {
namespace {

constexpr std::string_view permissions = "v1/permissions/";

template <class T>
HTTPAnswer json(const T& record) {
  return HTTPAnswer(200, std::move(JSONEncoder::relay().encode(record).storage));
}

}  // namespace

struct Endpoints::Call {
  const HTTPRequest& request;
  std::string_view path;
  std::string_view query;
  std::string token;

  template <class T>
  T body() const {
    return JSONDecoder::relay().decode<T>(std::string_view(request.body));
  }
};

struct Endpoints::Route {
  std::string_view method;
  std::string_view path;
  bool needsToken;
  bool needsBody;
  HTTPAnswer (Endpoints::*answer)(const Call&) const;

  bool matches(std::string_view asked) const {
    return path == permissions ? asked.starts_with(path) && asked != path : asked == path;
  }
};

Endpoints::Endpoints(RelayState& state, std::string account)
    : state_(state), account_(std::move(account)) {}

HTTPAnswer Endpoints::answer(const HTTPRequest& request, std::string_view path,
                             std::string_view query) const {
  static constexpr std::array<Route, 7> routes{{
      {"POST", "v1/pair", false, true, &Endpoints::pair},
      {"GET", "v1/sessions", true, false, &Endpoints::sessions},
      {"POST", permissions, true, true, &Endpoints::decide},
      {"GET", "v1/settings", true, false, &Endpoints::settings},
      {"POST", "v1/settings", true, true, &Endpoints::changeSettings},
      {"POST", "v1/push/tokens", true, true, &Endpoints::keepPushToken},
      {"POST", "v1/unpair", true, false, &Endpoints::unpair},
  }};
  std::string allowed;
  for (const Route& route : routes) {
    if (!route.matches(path)) continue;
    if (route.method == request.method) return run(route, request, path, query);
    allowed += (allowed.empty() ? "" : ", ") + std::string(route.method);
  }
  return allowed.empty() ? errorAnswer(404, "no such endpoint") : methodNotAllowed(allowed);
}

HTTPAnswer Endpoints::run(const Route& route, const HTTPRequest& request, std::string_view path,
                          std::string_view query) const {
  Call call{request, path, query, bearerToken(request).value_or("")};
  if (route.needsToken && !state_.isValid(call.token)) {
    HTTPAnswer answer = errorAnswer(401, "missing or unknown token");
    answer.headers.emplace_back("WWW-Authenticate", "Bearer");
    return answer;
  }
  if (route.needsBody && !request.hasLength) return errorAnswer(411, "length required");
  try {
    return (this->*route.answer)(call);
  } catch (const DecodingError&) {
    return errorAnswer(400, "the body is not what this endpoint takes");
  }
}

HTTPAnswer Endpoints::pair(const Call& call) const {
  const auto asked = call.body<wire::PairRequest>();
  const PairingResult result = state_.pair(asked.provider, asked.code);
  if (result.outcome == PairingOutcome::wrongCode) return errorAnswer(401, "wrong pairing code");
  if (result.outcome == PairingOutcome::tooManyAttempts) {
    HTTPAnswer answer = errorAnswer(429, "too many wrong pairing codes");
    answer.headers.emplace_back("Retry-After", std::to_string(PairingDesk::lockTime.count()));
    return answer;
  }
  return json(wire::PairAnswer(result.token, account_));
}

HTTPAnswer Endpoints::sessions(const Call& call) const {
  std::optional<AgentProvider> provider;
  if (const auto asked = queryValue(call.query, "provider")) {
    provider = fromRawValue<AgentProvider>(*asked);
    if (!provider) return errorAnswer(400, "unknown provider");
  }
  return json(wire::Sessions(state_.sessions(provider)));
}

HTTPAnswer Endpoints::decide(const Call& call) const {
  const auto promptID = percentDecoded(call.path.substr(permissions.size()));
  if (!promptID || !platform::isValidUTF8(*promptID)) return errorAnswer(400, "bad prompt id");
  const auto decision = call.body<wire::DecisionRequest>().decision;
  if (!state_.decide(*promptID, decision)) return errorAnswer(404, "no such prompt");
  return json(wire::OK());
}

HTTPAnswer Endpoints::settings(const Call&) const {
  return json(wire::Settings(state_.remoteApprovals()));
}

HTTPAnswer Endpoints::changeSettings(const Call& call) const {
  state_.setRemoteApprovals(call.body<wire::Settings>().remoteApprovals);
  return settings(call);
}

HTTPAnswer Endpoints::keepPushToken(const Call& call) const {
  state_.keepPushToken(call.token, call.body<PushTokenRegistration>());
  return json(wire::OK());
}

HTTPAnswer Endpoints::unpair(const Call& call) const {
  state_.unpair(call.token);
  return json(wire::OK());
}

std::optional<std::string> bearerToken(const HTTPRequest& request) {
  constexpr std::string_view scheme = "Bearer ";
  const auto value = request.header("Authorization").value_or("");
  if (!equalsIgnoringCase(value.substr(0, scheme.size()), scheme)) return std::nullopt;
  return std::string(value.substr(scheme.size()));
}

std::optional<std::string> queryValue(std::string_view query, std::string_view name) {
  while (!query.empty()) {
    const auto item = query.substr(0, query.find('&'));
    query.remove_prefix(std::min(item.size() + 1, query.size()));
    const auto equals = item.find('=');
    if (equals == std::string_view::npos || percentDecoded(item.substr(0, equals)) != name)
      continue;
    return percentDecoded(item.substr(equals + 1)).value_or("");
  }
  return std::nullopt;
}

HTTPAnswer errorAnswer(int status, std::string_view reason) {
  return HTTPAnswer(status, R"({"error":")" + std::string(reason) + R"("})");
}

HTTPAnswer methodNotAllowed(std::string allowed) {
  HTTPAnswer answer = errorAnswer(405, "method not allowed");
  answer.headers.emplace_back("Allow", std::move(allowed));
  return answer;
}

}  // namespace idlewyn::sandbox

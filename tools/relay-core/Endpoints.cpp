// SPDX-License-Identifier: MIT
#include "Endpoints.hpp"

#include <array>
#include <optional>
#include <utility>

#include <IdlewynKit/model/JSONCoding.hpp>
#include <IdlewynKit/platform/base/UTF8.hpp>

#include "WireRecords.hpp"

namespace idlewyn::relay {
namespace {

constexpr std::string_view permissions = "v1/permissions/";

template <class T>
HTTPAnswer json(const T& record) {
  return HTTPAnswer(200, std::move(JSONEncoder::relay().encode(record).storage));
}

HTTPAnswer decisionAnswer(DecisionOutcome outcome) {
  switch (outcome) {
    case DecisionOutcome::accepted: return json(wire::OK());
    case DecisionOutcome::gone: return errorAnswer(404, "no such prompt");
    case DecisionOutcome::noRule: return errorAnswer(400, "this prompt has no rule to keep");
    case DecisionOutcome::timedOut: break;
  }
  return errorAnswer(504, "the other machine's relay did not answer in time");
}

}  // namespace

struct Endpoints::Call {
  const HTTPRequest& request;
  std::string_view path;
  std::string_view query;
  const std::string& origin;
  std::string token;
  Access access;

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
  void (Endpoints::*answer)(const Call&, Answered) const;

  bool matches(std::string_view asked) const {
    return path == permissions ? asked.starts_with(path) && asked != path : asked == path;
  }
};

void Endpoints::answer(const HTTPRequest& request, std::string_view path, std::string_view query,
                       const std::string& origin, Answered answered) const {
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
    if (route.method == request.method) {
      return run(route, request, path, query, origin, std::move(answered));
    }
    allowed += (allowed.empty() ? "" : ", ") + std::string(route.method);
  }
  answered(allowed.empty() ? errorAnswer(404, "no such endpoint") : methodNotAllowed(allowed));
}

void Endpoints::run(const Route& route, const HTTPRequest& request, std::string_view path,
                    std::string_view query, const std::string& origin, Answered answered) const {
  const std::string token = bearerToken(request).value_or("");
  std::optional<Access> access = Access("", std::nullopt);
  if (route.needsToken) access = service_.admit(token, origin);
  if (!access) {
    HTTPAnswer answer = errorAnswer(401, "missing or unknown token");
    answer.headers.emplace_back("WWW-Authenticate", "Bearer");
    return answered(std::move(answer));
  }
  if (route.needsBody && !request.hasLength) return answered(errorAnswer(411, "length required"));
  const Call call{request, path, query, origin, token, *std::move(access)};
  try {
    (this->*route.answer)(call, answered);
  } catch (const DecodingError&) {
    answered(errorAnswer(400, "the body is not what this endpoint takes"));
  }
}

void Endpoints::pair(const Call& call, Answered answered) const {
  const auto asked = call.body<wire::PairRequest>();
  const PairingResult result = service_.pair(asked.provider, asked.code, call.origin);
  if (result.outcome == PairingOutcome::wrongCode) {
    return answered(errorAnswer(401, "wrong pairing code"));
  }
  if (result.outcome == PairingOutcome::tooManyAttempts) {
    HTTPAnswer answer = errorAnswer(429, "too many wrong pairing codes");
    answer.headers.emplace_back("Retry-After", std::to_string(result.retryAfter.count()));
    return answered(std::move(answer));
  }
  answered(json(wire::PairAnswer(result.token, service_.account())));
}

void Endpoints::sessions(const Call& call, Answered answered) const {
  std::optional<AgentProvider> provider = call.access.provider;
  if (const auto asked = queryValue(call.query, "provider")) {
    provider = fromRawValue<AgentProvider>(*asked);
    if (!provider) return answered(errorAnswer(400, "unknown provider"));
  }
  if (call.access.provider && provider != call.access.provider) {
    return answered(errorAnswer(403, "this token is for another agent"));
  }
  service_.sessions(call.access, provider,
                    [answered = std::move(answered)](std::vector<AgentSession> sessions) {
                      answered(json(wire::Sessions(std::move(sessions))));
                    });
}

void Endpoints::decide(const Call& call, Answered answered) const {
  const auto promptID = percentDecoded(call.path.substr(permissions.size()));
  if (!promptID || !platform::isValidUTF8(*promptID)) {
    return answered(errorAnswer(400, "bad prompt id"));
  }
  const auto decision = call.body<wire::DecisionRequest>().decision;
  service_.decide(call.access, *promptID, decision,
                  [answered = std::move(answered)](DecisionOutcome outcome) {
                    answered(decisionAnswer(outcome));
                  });
}

void Endpoints::settings(const Call&, Answered answered) const {
  answered(json(wire::Settings(service_.remoteApprovals())));
}

void Endpoints::changeSettings(const Call& call, Answered answered) const {
  const bool asked = call.body<wire::Settings>().remoteApprovals;
  answered(json(wire::Settings(service_.setRemoteApprovals(asked))));
}

void Endpoints::keepPushToken(const Call& call, Answered answered) const {
  const bool kept = service_.keepPushToken(call.access, call.body<PushTokenRegistration>());
  answered(kept ? json(wire::OK()) : errorAnswer(413, "too many or too large push tokens"));
}

void Endpoints::unpair(const Call& call, Answered answered) const {
  service_.unpair(call.access, call.token);
  answered(json(wire::OK()));
}

}  // namespace idlewyn::relay

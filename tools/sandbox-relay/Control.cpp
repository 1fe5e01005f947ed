// SPDX-License-Identifier: MIT
#include "Control.hpp"

#include <array>
#include <utility>

#include <IdlewynKit/model/JSONCoding.hpp>
#include <IdlewynKit/platform/base/UTF8.hpp>

#include "WireRecords.hpp"

namespace idlewyn::sandbox {
namespace {

using relay::errorAnswer;
using relay::methodNotAllowed;

constexpr double longestAdvance = 1e9;

template <class T>
HTTPAnswer json(const T& record) {
  return HTTPAnswer(200, std::move(JSONEncoder::relay().encode(record).storage));
}

template <class T>
T decoded(const HTTPRequest& request) {
  return JSONDecoder::relay().decode<T>(std::string_view(request.body));
}

std::string textOnly(const std::string& bytes) {
  return platform::isValidUTF8(bytes) ? bytes : "(not UTF-8)";
}

// Neither token nor pairing code.
wire::Request withoutSecrets(const RecordedRequest& request) {
  std::vector<wire::RequestHeader> headers;
  for (const Header& header : request.headers) {
    const bool secret = equalsIgnoringCase(header.name, "Authorization");
    headers.emplace_back(header.name, secret ? "(left out)" : textOnly(header.value));
  }
  std::optional<std::string> body;
  if (request.target.ends_with("/v1/pair")) {
    body = "(left out)";
  } else if (platform::isValidUTF8(request.body)) {
    body = request.body;
  }
  return wire::Request(request.method, request.target, std::move(headers), std::move(body));
}

}  // namespace

struct Control::Route {
  std::string_view method;
  std::string_view path;
  HTTPAnswer (Control::*answer)(const HTTPRequest&);
};

Control::Control(SandboxRelay& relay, std::function<void()> onStopRequest)
    : relay_(relay), onStopRequest_(std::move(onStopRequest)) {}

PlannedAnswer Control::answer(const HTTPRequest& request, std::string_view path) {
  static constexpr std::array<Route, 12> routes{{
      {"GET", "clock", &Control::readClock},
      {"POST", "clock", &Control::advance},
      {"POST", "faults", &Control::addFault},
      {"DELETE", "faults", &Control::clearFaults},
      {"POST", "certificate", &Control::replaceCertificate},
      {"POST", "code", &Control::makeCode},
      {"GET", "requests", &Control::requests},
      {"DELETE", "requests", &Control::clearRequests},
      {"POST", "sessions", &Control::setSessions},
      {"DELETE", "sessions", &Control::useMovingSessions},
      {"GET", "push-tokens", &Control::pushTokens},
      {"POST", "stop", &Control::stop},
  }};
  std::string allowed;
  for (const Route& route : routes) {
    if (route.path != path) continue;
    allowed += (allowed.empty() ? "" : ", ") + std::string(route.method);
    if (route.method != request.method) continue;
    try {
      PlannedAnswer answer((this->*route.answer)(request));
      if (path == "stop") answer.afterwards = onStopRequest_;
      return answer;
    } catch (const DecodingError& error) {
      return PlannedAnswer(errorAnswer(400, "the body is not what this request takes"));
    }
  }
  return PlannedAnswer(allowed.empty() ? errorAnswer(404, "no such control request")
                                       : methodNotAllowed(allowed));
}

HTTPAnswer Control::readClock(const HTTPRequest&) { return json(wire::Now(relay_.now())); }

HTTPAnswer Control::advance(const HTTPRequest& request) {
  const double seconds = decoded<wire::Advance>(request).advance;
  if (!(seconds >= 0 && seconds <= longestAdvance)) {
    return errorAnswer(400, "advance by 0 to 1e9 seconds");
  }
  relay_.advance(std::chrono::duration<double>(seconds));
  return json(wire::Now(relay_.now()));
}

HTTPAnswer Control::addFault(const HTTPRequest& request) {
  const auto asked = decoded<wire::FaultRequest>(request);
  const auto faults = Fault::parseList(asked.fault);
  if (!faults) return errorAnswer(400, "unknown fault");
  if (asked.count.value_or(1) < 1) return errorAnswer(400, "count from 1 on");
  for (const Fault& fault : *faults) {
    relay_.setFault(asked.endpoint, fault,
                    asked.count ? static_cast<std::size_t>(*asked.count) : FaultPlan::forever);
  }
  return json(wire::OK());
}

HTTPAnswer Control::clearFaults(const HTTPRequest&) {
  relay_.clearFaults();
  return json(wire::OK());
}

HTTPAnswer Control::replaceCertificate(const HTTPRequest&) {
  if (relay_.fingerprint().empty()) return errorAnswer(400, "this relay has no certificate");
  relay_.replaceCertificate();
  return json(wire::Fingerprint(relay_.fingerprint()));
}

HTTPAnswer Control::makeCode(const HTTPRequest&) {
  return HTTPAnswer(200, describePairing(relay_, relay_.pairingCode()));
}

HTTPAnswer Control::requests(const HTTPRequest&) {
  std::vector<wire::Request> shown;
  for (const RecordedRequest& request : relay_.requests())
    shown.push_back(withoutSecrets(request));
  return json(wire::Requests(std::move(shown)));
}

HTTPAnswer Control::clearRequests(const HTTPRequest&) {
  relay_.clearRequests();
  return json(wire::OK());
}

HTTPAnswer Control::setSessions(const HTTPRequest& request) {
  relay_.setSessions(std::move(decoded<wire::Sessions>(request).sessions));
  return json(wire::OK());
}

HTTPAnswer Control::useMovingSessions(const HTTPRequest&) {
  relay_.state().useMovingSessions();
  return json(wire::OK());
}

HTTPAnswer Control::pushTokens(const HTTPRequest&) {
  return json(wire::PushTokens(relay_.pushTokens()));
}

HTTPAnswer Control::stop(const HTTPRequest&) {
  return onStopRequest_ ? json(wire::OK()) : errorAnswer(400, "this relay can't be stopped so");
}

std::string describePairing(const SandboxRelay& relay, const std::string& code) {
  std::optional<std::string> fingerprint;
  if (!relay.fingerprint().empty()) fingerprint = relay.fingerprint();
  return JSONEncoder::relay()
      .encode(wire::Pairing(relay.address().text(), std::move(fingerprint), code,
                            relay.pairingLink(code)))
      .storage;
}

}  // namespace idlewyn::sandbox

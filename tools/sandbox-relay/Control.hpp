// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string_view>

#include "Delivery.hpp"
#include "SandboxRelay.hpp"

namespace idlewyn::sandbox {

/// Answers the requests that steer the relay, all below "sandbox/":
///
///     POST   clock        {"advance":30}           {"now":...}; GET only reads it
///     POST   faults       {"endpoint":"v1/pair","fault":"status=503","count":2}
///     DELETE faults                                ready-made answers go too
///     POST   certificate                           {"fingerprint":...}
///     POST   code                                  {"address":...,"pairingLink":...}
///     GET    requests     {"requests":[...]}, tokens left out; DELETE forgets them
///     POST   sessions     {"sessions":[...]} in place of the moving ones; DELETE ends that
///     GET    push-tokens  {"pushTokens":[...]}
///     POST   stop
class Control {
 public:
  Control(SandboxRelay& relay, std::function<void()> onStopRequest);

  /// `path` is the part behind "sandbox/".
  PlannedAnswer answer(const HTTPRequest& request, std::string_view path);

 private:
  struct Route;

  HTTPAnswer readClock(const HTTPRequest&);
  HTTPAnswer advance(const HTTPRequest& request);
  HTTPAnswer addFault(const HTTPRequest& request);
  HTTPAnswer clearFaults(const HTTPRequest&);
  HTTPAnswer replaceCertificate(const HTTPRequest&);
  HTTPAnswer makeCode(const HTTPRequest&);
  HTTPAnswer requests(const HTTPRequest&);
  HTTPAnswer clearRequests(const HTTPRequest&);
  HTTPAnswer setSessions(const HTTPRequest& request);
  HTTPAnswer useMovingSessions(const HTTPRequest&);
  HTTPAnswer pushTokens(const HTTPRequest&);
  HTTPAnswer stop(const HTTPRequest&);

  SandboxRelay& relay_;
  const std::function<void()> onStopRequest_;
};

/// The address, fingerprint, code and link of a relay as one line of JSON.
std::string describePairing(const SandboxRelay& relay, const std::string& code);

}  // namespace idlewyn::sandbox

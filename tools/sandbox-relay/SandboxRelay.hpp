// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <IdlewynKit/platform/base/URL.hpp>

#include <tools/relay-core/ServerCertificate.hpp>
#include "Faults.hpp"
#include "RelayState.hpp"
#include "RequestLog.hpp"

/// A relay on this machine: real sockets, real TLS, invented sessions that move with a clock
/// which can be stepped, and faults on demand.
///
///     SandboxRelay relay;                          // https on a port that the kernel chose
///     auto link = PairingLink::parse(*URL::parse(relay.pairingLink()));
///     relay.setFault("v1/sessions", Fault::status(503), 1);
///     relay.advance(std::chrono::seconds(40));
namespace idlewyn::sandbox {

using platform::URL;
using relay::CertificateOptions;
using relay::KeyType;
using relay::ServerCertificate;

struct Options {
  Options() = default;

  bool tls = true;
  CertificateOptions certificate;
  /// PEM files to use instead of a made certificate; both or none.
  std::string certificateFile;
  std::string keyFile;

  /// A numeric address or a name; IPv6 without brackets.
  std::string host = "127.0.0.1";
  /// 0 lets the kernel choose.
  std::uint16_t port = 0;
  /// As behind a reverse proxy; "a/b" and "/a/b/" are the same.
  std::string pathPrefix;

  /// Time stands still except for `advance`. Otherwise it passes, and `advance` adds to it.
  bool manualClock = false;
  /// Where a manual clock stands first: the present whole second, so that dates travel unchanged.
  Date start = std::chrono::floor<std::chrono::seconds>(platform::DateClock::now());

  /// The name that a paired client is told.
  std::string account = "robin@sandbox";
  /// The first pairing code; empty for a random one.
  std::string pairingCode;
  /// Called when a control request asks the relay to end, on one of its threads.
  std::function<void()> onStopRequest;
};

/// All operations may be called from any thread.
class SandboxRelay {
 public:
  /// Listens when it returns. Throws std::runtime_error.
  explicit SandboxRelay(const Options& options = Options());
  ~SandboxRelay();
  SandboxRelay(const SandboxRelay&) = delete;
  SandboxRelay& operator=(const SandboxRelay&) = delete;

  /// Closes every connection and waits for the threads. Everything else can still be read.
  void stop();

  /// The relay's base address, path prefix included, without a slash at the end.
  URL address() const;
  /// Of the present certificate; empty for plain http.
  std::string fingerprint() const;

  /// A fresh code; it lives five minutes and serves once for each agent. Earlier ones go on.
  std::string pairingCode();
  /// A pairing link with a fresh code, or with that one; with a pin for https.
  std::string pairingLink();
  std::string pairingLink(const std::string& code) const;
  /// The token of a connection that needs no pairing.
  std::string issueToken(AgentProvider provider);

  void advance(std::chrono::duration<double> step);
  Date now() const;

  /// Endpoints are "METHOD path" or a path, without the prefix: "POST v1/settings",
  /// "v1/permissions/*", "*". The next `count` requests get the fault; those of several rules
  /// add up. A request can also bring its own, in the header "X-Sandbox-Fault".
  void setFault(std::string endpoint, Fault fault, std::size_t count = FaultPlan::forever);
  /// Answers for the endpoint from now on, in place of the relay's own; the latest wins.
  void respondWith(std::string endpoint, int status, std::string body,
                   std::vector<Header> headers = {});
  /// Forgets faults and ready-made answers.
  void clearFaults();
  /// A new certificate (and key) of the same kind for new connections; old ones are closed.
  void replaceCertificate();

  /// The latest requests, at most 10,000, control requests excepted.
  std::vector<RecordedRequest> requests() const;
  void clearRequests();
  /// Connections accepted since the start, and those open now.
  std::size_t connectionsAccepted() const;
  std::size_t connectionsOpen() const;

  /// Sessions, settings, push tokens and decisions.
  RelayState& state();
  const RelayState& state() const;
  void setSessions(std::vector<AgentSession> sessions) { state().setSessions(std::move(sessions)); }
  std::vector<PushTokenRegistration> pushTokens() const { return state().pushTokens(); }

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace idlewyn::sandbox

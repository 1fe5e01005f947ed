// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <boost/asio/awaitable.hpp>

#include <tests/support/RelayFixture.hpp>
#include <tests/support/Sessions.hpp>
#include <tests/support/TemporaryFolder.hpp>

/// Every operation on a relay, ready to be tried against whatever the relay does.
///
///     RelayIdentity identity;
///     sandbox::SandboxRelay relay(identity.options(true));
///     for (const Operation& operation : allOperations())
///       Ending ending = wait(endingOf(operation.begin(relay, identity.pin())));
namespace idlewyn::testing {

/// A certificate that several relays can show, one after the other or at once.
class RelayIdentity {
 public:
  RelayIdentity() : pin_(make()) {}

  const std::string& pin() const { return pin_; }
  sandbox::Options options(bool tls, std::uint16_t port = 0) const {
    sandbox::Options options;
    options.tls = tls;
    options.port = port;
    if (tls) {
      options.certificateFile = file("certificate.pem");
      options.keyFile = file("key.pem");
    }
    return options;
  }

 private:
  std::string file(const char* name) const { return (folder_.path() / name).string(); }
  std::string make() const {
    const auto certificate = relay::ServerCertificate::make();
    certificate.write(file("certificate.pem"), file("key.pem"));
    return certificate.fingerprint;
  }

  TemporaryFolder folder_;
  std::string pin_;
};

struct Operation {
  const char* name;
  /// How many requests it sends.
  std::size_t requests;
  /// Gives the relay what the operation needs (code, token, prompt) and makes the operation.
  /// Over TLS the pin is enforced, whatever the relay shows.
  std::function<boost::asio::awaitable<void>(sandbox::SandboxRelay&, const std::string& pin)> begin;
};

/// How an operation ended: "ok", the sentence of a RelayError or the number of a URLError.
struct Ending {
  std::string outcome;
  double seconds = 0;
};

template <class T>
boost::asio::awaitable<void> withoutResult(boost::asio::awaitable<T> operation) {
  co_await std::move(operation);
}

inline boost::asio::awaitable<Ending> endingOf(boost::asio::awaitable<void> operation) {
  Ending ending;
  const auto begin = std::chrono::steady_clock::now();
  try {
    co_await std::move(operation);
    ending.outcome = "ok";
  } catch (...) {
    ending.outcome = errorText(std::current_exception());
  }
  ending.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  co_return ending;
}

inline Connection connectionWithPin(sandbox::SandboxRelay& relay, const std::string& pin,
                                    AgentProvider provider) {
  Connection connection = connectionTo(relay, provider);
  if (connection.certificatePin) connection.certificatePin = pin;
  return connection;
}

/// Both agents must fare alike, and one that failed keeps the session that was known of it.
inline boost::asio::awaitable<void> snapshotOfTwo(Connection claude, Connection codex) {
  std::vector<Connection> connections{claude, codex};
  const std::vector<AgentSession> known{makeSession("known")};
  SessionSnapshot fallback(known, Date{});
  const auto service = liveService();
  const SnapshotResult result = co_await service.snapshot(connections, fallback);
  if (result.errors.empty()) co_return;
  if (result.errors.size() != 2 || errorDescription(result.errors.begin()->second) !=
                                       errorDescription(result.errors.rbegin()->second)) {
    throw std::runtime_error("the agents of a snapshot fared differently");
  }
  if (result.snapshot.sessions != known) throw std::runtime_error("known sessions were lost");
  std::rethrow_exception(result.errors.begin()->second);
}

inline Operation pairing(const char* name, bool givesPin) {
  return {name, 1, [=](sandbox::SandboxRelay& relay, const std::string& pin) {
            const bool enforced = givesPin && !relay.fingerprint().empty();
            return withoutResult(liveService().pair(AgentProvider::claude, relay.address(),
                                                    relay.pairingCode(),
                                                    enforced ? std::optional(pin) : std::nullopt));
          }};
}

/// One that needs nothing but a connection.
template <class Call>
Operation onConnection(const char* name, Call call) {
  return {name, 1, [=](sandbox::SandboxRelay& relay, const std::string& pin) {
            return withoutResult(call(connectionWithPin(relay, pin, AgentProvider::claude)));
          }};
}

inline std::vector<Operation> allOperations() {
  const LiveSessionService service = liveService();
  const PushTokenRegistration registration("device", PushTokenRegistration::Kind::activity,
                                           Data{0xAB, 0x01}, "sandbox", std::nullopt);
  return {
      pairing("pair", true),
      pairing("pair on first use", false),
      onConnection("sessions", [=](Connection c) { return service.sessions(std::move(c)); }),
      {"snapshot", 2,
       [](sandbox::SandboxRelay& relay, const std::string& pin) {
         return snapshotOfTwo(connectionWithPin(relay, pin, AgentProvider::claude),
                              connectionWithPin(relay, pin, AgentProvider::codex));
       }},
      {"decide", 1,
       [=](sandbox::SandboxRelay& relay, const std::string& pin) {
         relay.setSessions({withPrompt(makeSession("s", SessionStatus::waitingForInput), "p")});
         return service.decide(PermissionDecision::allow, "p",
                               connectionWithPin(relay, pin, AgentProvider::claude));
       }},
      onConnection("remoteApprovals",
                   [=](Connection c) { return service.remoteApprovals(std::move(c)); }),
      onConnection("setRemoteApprovals",
                   [=](Connection c) { return service.setRemoteApprovals(true, std::move(c)); }),
      onConnection(
          "registerPushToken",
          [=](Connection c) { return service.registerPushToken(registration, std::move(c)); }),
      onConnection("unpair", [=](Connection c) { return service.unpair(std::move(c)); }),
  };
}

}  // namespace idlewyn::testing

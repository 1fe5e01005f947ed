// SPDX-License-Identifier: MIT
#include <IdlewynKit/relay/RelayClient.hpp>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <IdlewynKit/relay/internal/Perform.hpp>
#include <IdlewynKit/relay/internal/RelayRequests.hpp>
#include <IdlewynKit/relay/internal/WireRecords.hpp>
#include <IdlewynKit/security/CertificatePin.hpp>
#include <IdlewynKit/security/PinningDelegate.hpp>

namespace idlewyn {

namespace {

using boost::asio::awaitable;
using internal::OKResponse;
using internal::perform;
using internal::RelayAccess;
using internal::Route;
using internal::SettingsPayload;

RelayAccess accessOf(const Connection& connection) {
  return RelayAccess(*connection.serverURL, connection.accessToken);
}

Route routeOf(const Connection& connection, const RelayClient& relay) {
  if (!connection.certificatePin) return Route(relay.urlSession, false);
  return Route(CertificatePin::session(*connection.certificatePin), true);
}

// Trust on first use: a session for one exchange that lets any certificate through and
// remembers it. Ends with its last owner, however the exchange went.
struct FirstUse {
  FirstUse()
      : delegate(std::make_shared<PinningDelegate>(std::nullopt)),
        session(URLSession::ephemeral(delegate)) {}
  FirstUse(const FirstUse&) = delete;
  FirstUse& operator=(const FirstUse&) = delete;
  ~FirstUse() { session->finishTasksAndInvalidate(); }

  std::shared_ptr<PinningDelegate> delegate;
  std::shared_ptr<URLSession> session;
};

bool readSettings(const platform::Data& body) {
  return internal::decodedAnswer<SettingsPayload>(body).remoteApprovals;
}

// Only whether the answer can be read counts, not what "ok" says.
void readOK(const platform::Data& body) { internal::decodedAnswer<OKResponse>(body); }

std::vector<AgentSession> readSessions(const platform::Data& body, AgentProvider provider) {
  auto sessions = internal::decodedAnswer<internal::SessionsResponse>(body).sessions;
  std::erase_if(sessions, [&](const AgentSession& s) { return s.provider != provider; });
  return sessions;
}

// A token that no Authorization field can carry would be stored and then fail every request.
bool canBeSent(std::string_view token) {
  return !token.empty() && token.find_first_of(std::string_view("\r\n\0", 3)) == token.npos;
}

Connection readPairing(const platform::Data& body, AgentProvider provider, URL serverURL,
                       std::optional<std::string> pin) {
  auto response = internal::decodedAnswer<internal::PairResponse>(body);
  if (!canBeSent(response.token)) throw RelayError::invalidResponse();
  return Connection(provider, std::move(serverURL), std::move(response.token),
                    std::move(response.account), DateClock::now(), std::move(pin));
}

}  // namespace

RelayClient::RelayClient(std::shared_ptr<URLSession> session) : urlSession(std::move(session)) {
  if (!urlSession) throw std::invalid_argument("RelayClient needs a URLSession, not null.");
}

awaitable<Connection> RelayClient::pair(AgentProvider provider, URL serverURL, std::string code,
                                        std::optional<std::string> certificatePin) const {
  auto makeRequest = [=] { return internal::pairRequest(serverURL, provider, code); };
  const bool isHTTPS = serverURL.lowercasedScheme() == "https";
  if (certificatePin) {
    return perform<Connection>(
        Route(CertificatePin::session(*certificatePin), isHTTPS), makeRequest,
        [=, pin = CertificatePin::normalized(*certificatePin)](platform::Data body) {
          return readPairing(body, provider, serverURL, pin);
        });
  }
  if (isHTTPS) {
    auto firstUse = std::make_shared<FirstUse>();
    return perform<Connection>(
        Route(firstUse->session, true), makeRequest, [=](platform::Data body) {
          return readPairing(body, provider, serverURL, firstUse->delegate->seen());
        });
  }
  return perform<Connection>(Route(urlSession, false), makeRequest, [=](platform::Data body) {
    return readPairing(body, provider, serverURL, std::nullopt);
  });
}

awaitable<std::vector<AgentSession>> RelayClient::sessions(Connection connection) const {
  if (connection.isDemo()) return internal::ready(std::vector<AgentSession>());
  const AgentProvider provider = connection.provider;
  return perform<std::vector<AgentSession>>(
      routeOf(connection, *this),
      [=, relay = accessOf(connection)] { return internal::sessionsRequest(relay, provider); },
      [=](platform::Data body) { return readSessions(body, provider); });
}

awaitable<void> RelayClient::decide(PermissionDecision decision, std::string promptID,
                                    Connection connection) const {
  if (connection.isDemo()) return internal::ready();
  return perform<void>(
      routeOf(connection, *this),
      [=, relay = accessOf(connection)] {
        return internal::decideRequest(relay, promptID, decision);
      },
      readOK);
}

awaitable<bool> RelayClient::remoteApprovals(Connection connection) const {
  if (connection.isDemo()) return internal::ready(false);
  return perform<bool>(
      routeOf(connection, *this),
      [relay = accessOf(connection)] { return internal::settingsRequest(relay); }, readSettings);
}

awaitable<bool> RelayClient::setRemoteApprovals(bool enabled, Connection connection) const {
  if (connection.isDemo()) return internal::ready(false);
  return perform<bool>(
      routeOf(connection, *this),
      [=, relay = accessOf(connection)] { return internal::changeSettingsRequest(relay, enabled); },
      readSettings);
}

awaitable<void> RelayClient::registerPushToken(PushTokenRegistration registration,
                                               Connection connection) const {
  if (connection.isDemo()) return internal::ready();
  return perform<void>(
      routeOf(connection, *this),
      [=, relay = accessOf(connection)] { return internal::pushTokenRequest(relay, registration); },
      readOK);
}

awaitable<void> RelayClient::unpair(Connection connection) const {
  if (connection.isDemo()) return internal::ready();
  return perform<void>(
      routeOf(connection, *this),
      [relay = accessOf(connection)] { return internal::unpairRequest(relay); }, readOK);
}

}  // namespace idlewyn

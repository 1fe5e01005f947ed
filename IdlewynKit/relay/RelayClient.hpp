// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/model/AgentSession.hpp>
#include <IdlewynKit/model/PushTokenRegistration.hpp>
#include <IdlewynKit/platform/net/URLSession.hpp>
#include <IdlewynKit/platform/tasks/Awaitable.hpp>
#include <IdlewynKit/relay/Connection.hpp>

/// The relay's HTTP and JSON protocol, one exchange an operation.
///
///     RelayClient relay(URLSession::shared());
///     Connection connection = co_await relay.pair(AgentProvider::claude, url, code, pin);
///     std::vector<AgentSession> sessions = co_await relay.sessions(connection);
namespace idlewyn {

using platform::URLSession;

/// A value; copy it and use it from any thread. The operations copy what they need: client and
/// arguments may be gone before the awaitable is awaited. They run on the awaiting coroutine's
/// executor, are begun when awaited, take ten seconds at most, are sent once, and throw
/// RelayError, URLError or, before anything is sent, EncodingError for text of a JSON body (pairing
/// code, push token) that is not UTF-8.
///
/// A connection with a pin is reached only over the session that enforces it; a cancelled
/// exchange of one is a `certificateMismatch`, of any other a URLError `cancelled`. On a
/// connection without an address nothing is sent: no sessions, false, or nothing.
struct RelayClient {
  /// Throws std::invalid_argument for a null session.
  IDLEWYNKIT_EXPORT explicit RelayClient(std::shared_ptr<URLSession> urlSession);

  /// Exchanges a pairing code for a connection. The code is sent as it is. Over https without a
  /// pin the relay's certificate is accepted, whatever it is, and becomes the connection's pin
  /// (trust on first use); a given pin is enforced, and stored normalised.
  IDLEWYNKIT_EXPORT boost::asio::awaitable<Connection> pair(
      AgentProvider provider, URL serverURL, std::string code,
      std::optional<std::string> certificatePin) const;

  /// The sessions of the connection's own provider, in the relay's order.
  IDLEWYNKIT_EXPORT boost::asio::awaitable<std::vector<AgentSession>> sessions(
      Connection connection) const;

  /// Answers a prompt, whose identifier's bytes go percent-encoded into the address as they are.
  /// Throws `promptExpired` when the relay no longer knows it.
  IDLEWYNKIT_EXPORT boost::asio::awaitable<void> decide(PermissionDecision decision,
                                                        std::string promptID,
                                                        Connection connection) const;

  IDLEWYNKIT_EXPORT boost::asio::awaitable<bool> remoteApprovals(Connection connection) const;

  /// Gives what the relay now says, which may differ from what was asked.
  IDLEWYNKIT_EXPORT boost::asio::awaitable<bool> setRemoteApprovals(bool enabled,
                                                                    Connection connection) const;

  IDLEWYNKIT_EXPORT boost::asio::awaitable<void> registerPushToken(
      PushTokenRegistration registration, Connection connection) const;

  /// Makes the relay forget the connection's token.
  IDLEWYNKIT_EXPORT boost::asio::awaitable<void> unpair(Connection connection) const;

  /// What relays without a pin are reached over.
  std::shared_ptr<URLSession> urlSession;
};

}  // namespace idlewyn

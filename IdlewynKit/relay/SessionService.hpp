// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/model/AgentSession.hpp>
#include <IdlewynKit/model/PushTokenRegistration.hpp>
#include <IdlewynKit/platform/tasks/Awaitable.hpp>
#include <IdlewynKit/relay/Connection.hpp>

/// Everything that concerns agents' sessions on relays, as an interface that an application can
/// replace in its own tests.
///
///     class FakeService final : public SessionService { ... };
namespace idlewyn {

/// May be asked from any thread. An operation is begun when it is awaited, runs on the executor of
/// the coroutine that awaits it, and ends at once when that is cancelled: with a URLError
/// `cancelled`, or, in a pairing over https and over a pinned connection, with
/// `RelayError::certificateMismatch()`.
///
/// Besides what stands at an operation each throws RelayError for what the relay answers (see its
/// cases) and URLError when there is no answer. EncodingError, before anything is sent, is for text
/// that is not UTF-8 and would go into a JSON body: a pairing code, a push token's texts.
///
/// The awaitables are lazy: implementations must not rely on the service or on references being
/// alive when they are awaited.
class IDLEWYNKIT_EXPORT SessionService {
 public:
  virtual ~SessionService() = default;

  /// Exchanges a one-time code for a connection. A pin is enforced, null means trust on first use:
  /// over https whatever certificate the relay shows becomes the connection's pin. Throws
  /// `unauthorized` for a code that is wrong, used or old. A pairing that was cancelled may have
  /// used the code up.
  virtual boost::asio::awaitable<Connection> pair(
      AgentProvider provider, URL serverURL, std::string code,
      std::optional<std::string> certificatePin) const = 0;

  /// The sessions of the connection's own provider, in the relay's order.
  virtual boost::asio::awaitable<std::vector<AgentSession>> sessions(
      Connection connection) const = 0;

  /// Answers a prompt. The identifier's bytes go percent-encoded into the address as they are,
  /// UTF-8 or not. Throws `promptExpired` when the prompt is gone, answered elsewhere for one. Not
  /// to be sent twice: one that failed or was cancelled may have arrived.
  virtual boost::asio::awaitable<void> decide(PermissionDecision decision, std::string promptID,
                                              Connection connection) const = 0;

  /// Whether the relay takes answers from afar.
  virtual boost::asio::awaitable<bool> remoteApprovals(Connection connection) const = 0;

  /// Gives what the relay now says, which may differ from what was asked.
  virtual boost::asio::awaitable<bool> setRemoteApprovals(bool enabled,
                                                          Connection connection) const = 0;

  /// Makes the relay push to a device. Throws EncodingError for texts that are not UTF-8.
  virtual boost::asio::awaitable<void> registerPushToken(PushTokenRegistration registration,
                                                         Connection connection) const = 0;

  /// Makes the relay forget the connection's token. What the caller has stored stays.
  virtual boost::asio::awaitable<void> unpair(Connection connection) const = 0;

 protected:
  SessionService() = default;
  SessionService(const SessionService&) = default;
  SessionService& operator=(const SessionService&) = default;
};

}  // namespace idlewyn

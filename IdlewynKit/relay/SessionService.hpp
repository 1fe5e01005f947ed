// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <boost/asio/awaitable.hpp>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/model/AgentSession.hpp>
#include <IdlewynKit/push/PushTokenRegistration.hpp>
#include <IdlewynKit/relay/Connection.hpp>

/// Everything that concerns agents' sessions on relays, as an interface that an application can
/// replace in its own tests.
///
///     class FakeService final : public SessionService { ... };
namespace idlewyn {

/// The awaitables are lazy: implementations must not rely on the service or on references being
/// alive when they are awaited.
class IDLEWYNKIT_EXPORT SessionService {
 public:
  virtual ~SessionService() = default;

  virtual boost::asio::awaitable<Connection> pair(
      AgentProvider provider, URL serverURL, std::string code,
      std::optional<std::string> certificatePin) const = 0;
  virtual boost::asio::awaitable<std::vector<AgentSession>> sessions(
      Connection connection) const = 0;
  virtual boost::asio::awaitable<void> decide(PermissionDecision decision, std::string promptID,
                                              Connection connection) const = 0;
  virtual boost::asio::awaitable<bool> remoteApprovals(Connection connection) const = 0;
  virtual boost::asio::awaitable<bool> setRemoteApprovals(bool enabled,
                                                          Connection connection) const = 0;
  virtual boost::asio::awaitable<void> registerPushToken(PushTokenRegistration registration,
                                                         Connection connection) const = 0;
  virtual boost::asio::awaitable<void> unpair(Connection connection) const = 0;

 protected:
  SessionService() = default;
  SessionService(const SessionService&) = default;
  SessionService& operator=(const SessionService&) = default;
};

}  // namespace idlewyn

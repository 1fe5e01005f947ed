// SPDX-License-Identifier: MIT
#include <IdlewynKit/relay/LiveSessionService.hpp>

#include <memory>
#include <utility>

#include <IdlewynKit/demo/DemoSessions.hpp>
#include <IdlewynKit/relay/internal/Perform.hpp>

namespace idlewyn {

using boost::asio::awaitable;
using internal::ready;

namespace {

// Generated when awaited, not when called.
awaitable<std::vector<AgentSession>> demoSessions(AgentProvider provider) {
  co_return DemoSessions::sessions(provider, DateClock::now());
}

}  // namespace

awaitable<Connection> LiveSessionService::pair(AgentProvider provider, URL serverURL,
                                               std::string code,
                                               std::optional<std::string> certificatePin) const {
  return relay.pair(provider, std::move(serverURL), std::move(code), std::move(certificatePin));
}

awaitable<std::vector<AgentSession>> LiveSessionService::sessions(Connection connection) const {
  if (connection.isDemo()) return demoSessions(connection.provider);
  return relay.sessions(std::move(connection));
}

awaitable<void> LiveSessionService::decide(PermissionDecision decision, std::string promptID,
                                           Connection connection) const {
  return relay.decide(decision, std::move(promptID), std::move(connection));
}

awaitable<bool> LiveSessionService::remoteApprovals(Connection connection) const {
  return relay.remoteApprovals(std::move(connection));
}

awaitable<bool> LiveSessionService::setRemoteApprovals(bool enabled, Connection connection) const {
  if (connection.isDemo()) return ready(enabled);
  return relay.setRemoteApprovals(enabled, std::move(connection));
}

awaitable<void> LiveSessionService::registerPushToken(PushTokenRegistration registration,
                                                      Connection connection) const {
  return relay.registerPushToken(std::move(registration), std::move(connection));
}

awaitable<void> LiveSessionService::unpair(Connection connection) const {
  return relay.unpair(std::move(connection));
}

awaitable<SnapshotResult> LiveSessionService::snapshot(std::vector<Connection> connections,
                                                       SessionSnapshot fallback) const {
  return takeSnapshot(std::make_shared<LiveSessionService>(*this), std::move(connections),
                      std::move(fallback));
}

}  // namespace idlewyn

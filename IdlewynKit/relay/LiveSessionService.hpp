// SPDX-License-Identifier: MIT
#pragma once

#include <utility>

#include <IdlewynKit/relay/RelayClient.hpp>
#include <IdlewynKit/relay/SessionService.hpp>
#include <IdlewynKit/relay/Snapshot.hpp>

/// The session service over relays, with demo connections served from generated data.
///
///     LiveSessionService service{RelayClient(URLSession::shared())};
///     auto [snapshot, errors] = co_await service.snapshot(connections, previous);
///     for (const auto& [provider, error] : errors)
///       show(displayName(provider), errorDescription(error));
namespace idlewyn {

/// A value; see RelayClient for lifetimes, threads and errors. On a demo connection nothing is
/// sent and nothing is thrown: sessions come from DemoSessions, remote approvals are false and
/// setting them gives what was asked.
struct IDLEWYNKIT_EXPORT LiveSessionService final : SessionService {
  explicit LiveSessionService(RelayClient relay) : relay(std::move(relay)) {}

  boost::asio::awaitable<Connection> pair(AgentProvider provider, URL serverURL, std::string code,
                                          std::optional<std::string> certificatePin) const override;
  boost::asio::awaitable<std::vector<AgentSession>> sessions(Connection connection) const override;
  boost::asio::awaitable<void> decide(PermissionDecision decision, std::string promptID,
                                      Connection connection) const override;
  boost::asio::awaitable<bool> remoteApprovals(Connection connection) const override;
  boost::asio::awaitable<bool> setRemoteApprovals(bool enabled,
                                                  Connection connection) const override;
  boost::asio::awaitable<void> registerPushToken(PushTokenRegistration registration,
                                                 Connection connection) const override;
  boost::asio::awaitable<void> unpair(Connection connection) const override;

  /// `takeSnapshot` over this service.
  boost::asio::awaitable<SnapshotResult> snapshot(std::vector<Connection> connections,
                                                  SessionSnapshot fallback) const;

  RelayClient relay;
};

}  // namespace idlewyn

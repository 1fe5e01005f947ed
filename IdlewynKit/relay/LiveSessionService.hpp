// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <map>
#include <utility>

#include <IdlewynKit/model/SessionSnapshot.hpp>
#include <IdlewynKit/relay/RelayClient.hpp>
#include <IdlewynKit/relay/SessionService.hpp>

/// The session service over relays, with demo connections served from generated data.
///
///     LiveSessionService service{RelayClient(URLSession::shared())};
///     auto [snapshot, errors] = co_await service.snapshot(connections, previous);
///     for (const auto& [provider, error] : errors)
///       show(displayName(provider), errorDescription(error));
namespace idlewyn {

/// A snapshot with the error of each provider whose fetch failed, as it was thrown.
struct SnapshotResult {
  SnapshotResult(SessionSnapshot snapshot, std::map<AgentProvider, std::exception_ptr> errors)
      : snapshot(std::move(snapshot)), errors(std::move(errors)) {}
  /// The empty snapshot without errors.
  SnapshotResult() = default;

  SessionSnapshot snapshot;
  std::map<AgentProvider, std::exception_ptr> errors;
};

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

  /// Fetches the sessions of all connections at once and merges them in the order in which the
  /// fetches end. A failed fetch contributes its error, and the fallback's sessions of its
  /// provider in place of fresh ones. Never throws, also when the caller is cancelled midway:
  /// each fetch that was cancelled then counts as failed.
  ///
  /// Nothing else is taken from the fallback: `updatedAt` is the time of the end, even when every
  /// fetch failed, and sessions of providers without a connection are dropped. So give all
  /// connections each time, not the one that changed, and at most one of each provider: of two
  /// that fail the later error stays, and the fallback's sessions come twice.
  boost::asio::awaitable<SnapshotResult> snapshot(std::vector<Connection> connections,
                                                  SessionSnapshot fallback) const;

  RelayClient relay;
};

}  // namespace idlewyn

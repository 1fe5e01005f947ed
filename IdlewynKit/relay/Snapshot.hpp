// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/model/SessionSnapshot.hpp>
#include <IdlewynKit/relay/SessionService.hpp>

/// One snapshot of all paired agents, over any session service.
///
///     auto service = std::make_shared<FakeService>();
///     auto [snapshot, errors] = co_await takeSnapshot(service, connections, previous);
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

/// Fetches the sessions of all connections at once and merges them in the order in which the
/// fetches end. A failed fetch contributes its error, and the fallback's sessions of its
/// provider in place of fresh ones. The awaitable never throws, also when the caller is cancelled
/// midway: each fetch that was cancelled then counts as failed.
///
/// Nothing else is taken from the fallback: `updatedAt` is the time of the end, even when every
/// fetch failed, and sessions of providers without a connection are dropped. So give all
/// connections each time, not the one that changed, and at most one of each provider: of two
/// that fail the later error stays, and the fallback's sessions come twice.
///
/// The call throws std::invalid_argument for a null service, which is kept until the end. Its
/// `sessions` may be asked again for a connection when the caller is cancelled.
IDLEWYNKIT_EXPORT boost::asio::awaitable<SnapshotResult> takeSnapshot(
    std::shared_ptr<const SessionService> service, std::vector<Connection> connections,
    SessionSnapshot fallback);

}  // namespace idlewyn

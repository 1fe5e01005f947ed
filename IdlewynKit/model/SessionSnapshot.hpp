// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/model/AgentSession.hpp>

/// The sessions that the application knows at one moment.
///
///     auto [snapshot, errors] = co_await service.snapshot(connections, previous);
///     for (const AgentSession& session : snapshot.sorted()) draw(session);
namespace idlewyn {

struct SessionSnapshot {
  SessionSnapshot(std::vector<AgentSession> sessions, Date updatedAt)
      : sessions(std::move(sessions)), updatedAt(updatedAt) {}
  /// The empty snapshot, for results that are filled later.
  SessionSnapshot() : updatedAt(platform::distantPast) {}
  explicit SessionSnapshot(platform::DecodingKey) : SessionSnapshot() {}

  /// No sessions, taken in the most distant past. One shared constant.
  IDLEWYNKIT_EXPORT static const SessionSnapshot& empty();

  friend bool operator==(const SessionSnapshot&, const SessionSnapshot&) = default;

  using IdlewynRecord = SessionSnapshot;
  static constexpr auto fields() {
    return std::tuple{platform::field("sessions", &SessionSnapshot::sessions),
                      platform::field("updatedAt", &SessionSnapshot::updatedAt)};
  }

  /// The sessions in display order: by status rank, then later `updatedAt` first; equal ones
  /// keep their order.
  IDLEWYNKIT_EXPORT std::vector<AgentSession> sorted() const;

  IDLEWYNKIT_EXPORT std::int64_t count(SessionStatus status) const noexcept;
  IDLEWYNKIT_EXPORT std::int64_t workingCount() const noexcept;
  IDLEWYNKIT_EXPORT std::int64_t attentionCount() const noexcept;
  /// True when there are sessions and none is working.
  IDLEWYNKIT_EXPORT bool allFinished() const noexcept;
  /// The sessions of that provider in list order.
  IDLEWYNKIT_EXPORT std::vector<AgentSession> sessionsFor(AgentProvider provider) const;

  /// In the order received.
  std::vector<AgentSession> sessions;
  /// When the snapshot was taken.
  Date updatedAt;
};

}  // namespace idlewyn

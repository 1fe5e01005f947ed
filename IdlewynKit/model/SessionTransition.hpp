// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/model/SessionSnapshot.hpp>

/// The sessions that have just come to need the user.
///
///     for (const SessionTransition& t : SessionTransition::detect(previous, current))
///       notify(t.session.title, label(t.session.status));
namespace idlewyn {

struct SessionTransition {
  friend bool operator==(const SessionTransition&, const SessionTransition&) = default;

  using IdlewynRecord = SessionTransition;
  static constexpr auto fields() {
    return std::tuple{platform::field("session", &SessionTransition::session),
                      platform::field("from", &SessionTransition::from)};
  }

  /// Compares two snapshots by session id alone (of duplicates in `from` the last counts) and
  /// gives, in the order of `to`, the sessions that need attention in it and either did not
  /// before or carry a prompt whose id is new. Sessions that `from` doesn't hold give nothing.
  IDLEWYNKIT_EXPORT static std::vector<SessionTransition> detect(const SessionSnapshot& from,
                                                                 const SessionSnapshot& to);

  /// The session as it stands in the new snapshot.
  AgentSession session;
  /// Its status in the previous snapshot.
  std::optional<SessionStatus> from;

 private:
  SessionTransition(AgentSession session, std::optional<SessionStatus> from)
      : session(std::move(session)), from(from) {}
};

}  // namespace idlewyn

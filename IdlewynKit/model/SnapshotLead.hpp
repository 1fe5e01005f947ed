// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/model/SessionSnapshot.hpp>

/// A snapshot in one line: a leading count, and the others.
///
///     const SnapshotLead lead(snapshot);
///     title(lead.summary());                        // 1 needs you · 2 working
///     badge(lead.count(), tint(lead.status()));
namespace idlewyn {

/// What a compact display shows first. A value that can't be changed, so that its parts and its
/// summary always agree.
class SnapshotLead {
 public:
  IDLEWYNKIT_EXPORT explicit SnapshotLead(const SessionSnapshot& snapshot);
  /// The numbers are not checked against each other; idle sessions enter only the total.
  IDLEWYNKIT_EXPORT SnapshotLead(std::int64_t waiting, std::int64_t working, std::int64_t finished,
                                 std::int64_t failed, std::int64_t total);

  friend bool operator==(const SnapshotLead&, const SnapshotLead&) = default;

  /// One line: "No sessions", or the lead and the others.
  [[nodiscard]] IDLEWYNKIT_EXPORT std::string summary() const;

  std::int64_t count() const noexcept { return count_; }
  /// Returns the status that the leading number counts; never idle.
  SessionStatus status() const noexcept { return status_; }
  /// The words that follow the leading number.
  const std::string& label() const noexcept IDLEWYNKIT_LIFETIMEBOUND { return label_; }
  /// The other counts above zero, joined by " · "; may be empty.
  const std::string& others() const noexcept IDLEWYNKIT_LIFETIMEBOUND { return others_; }
  bool isEmpty() const noexcept { return isEmpty_; }

 private:
  std::int64_t count_;
  SessionStatus status_;
  std::string label_;
  std::string others_;
  bool isEmpty_;
};

}  // namespace idlewyn

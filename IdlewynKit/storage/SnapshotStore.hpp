// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <tuple>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/model/SessionSnapshot.hpp>
#include <IdlewynKit/platform/base/Hashing.hpp>
#include <IdlewynKit/platform/base/Record.hpp>

/// The last snapshot, for the processes that draw sessions without asking a relay.
///
///     SnapshotStore::shared().save(result.snapshot);
///     SessionSnapshot last = SnapshotStore::shared().load();   // in another process, say
namespace idlewyn {

/// A value without state of its own: the defaults are opened anew by each operation. Any thread;
/// the last save stays. No operation reports a failure, std::bad_alloc aside.
struct SnapshotStore {
 public:
  /// The suite of user defaults that holds the snapshot. Absent, or one that can't be opened,
  /// means the process's standard defaults, which are in memory where nothing can be written.
  IDLEWYNKIT_EXPORT explicit SnapshotStore(std::optional<std::string> suiteName);

  /// The one in the defaults of `AppGroup`.
  IDLEWYNKIT_EXPORT static const SnapshotStore& shared();

  friend bool operator==(const SnapshotStore&, const SnapshotStore&) = default;

  using IdlewynRecord = SnapshotStore;
  static constexpr auto fields() {
    return std::tuple{platform::field("suiteName", &SnapshotStore::suiteName_)};
  }

  /// The snapshot saved last, its dates to the millisecond; `SessionSnapshot::empty()` when there
  /// is none or what is stored is something else.
  IDLEWYNKIT_EXPORT SessionSnapshot load() const;
  /// A snapshot that can't be encoded (a text that isn't UTF-8) leaves the stored one in place.
  IDLEWYNKIT_EXPORT void save(const SessionSnapshot& snapshot) const;
  IDLEWYNKIT_EXPORT void clear() const;

 private:
  std::optional<std::string> suiteName_;
};

}  // namespace idlewyn

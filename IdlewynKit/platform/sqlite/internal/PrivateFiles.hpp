// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <IdlewynKit/platform/sqlite/Connection.hpp>

/// What a database needs of the file system. Every file that is made here is for the user alone.
namespace idlewyn::platform {

/// `full`, `unwritable`, `unopenable` or `failed`, by the number of a system error.
Outcome outcomeOfError(int error) noexcept;

/// Parents too.
Outcome makeDirectories(const std::string& path);
bool isWritable(const std::string& path) noexcept;
bool isWritableDirectory(const std::string& path);
/// Whether the nearest parent that exists can be written, and no link to nowhere is in the way.
bool couldBeMade(std::string path);
/// False when what has the name of a SideLock can't be one.
bool couldBeLocked(const std::string& path) noexcept;
bool exists(const std::string& path) noexcept;

/// Fails when anything is there by that name.
Outcome makeEmptyFile(const std::string& path) noexcept;
/// A file or a directory.
Outcome synchronize(const std::string& path) noexcept;

/// Renames a database, its log and the log's index, those that are there, to "NAME.damaged-TIME"
/// with the same endings. `target` becomes that name.
Outcome moveDatabaseAside(const std::string& path, std::string& target);

/// One process, and one thread of it, at a time; ends with the process at the latest.
class SideLock {
 public:
  /// Waits for nobody.
  explicit SideLock(const std::string& path) noexcept;
  ~SideLock();
  SideLock(const SideLock&) = delete;
  SideLock& operator=(const SideLock&) = delete;

  /// `done` when it is held, `busy` when somebody else holds it, or why it can't be had.
  Outcome outcome() const noexcept { return outcome_; }

 private:
  int descriptor_;
  Outcome outcome_ = Outcome::done;
};

}  // namespace idlewyn::platform

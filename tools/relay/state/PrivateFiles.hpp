// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

/// Files of this user that nobody else can read, and that survive a power failure once written.
///
///     makePrivateFolder(folder);
///     writePrivateFile(folder + "/state.json", text);
namespace idlewyn::relay {

/// Makes the folder and its parents, the folder itself with mode 0700 whatever the umask. Throws
/// std::runtime_error when the path is no folder, belongs to another user, or is open to others.
void makePrivateFolder(const std::string& path);

/// The whole file; no value where there is none. Throws std::runtime_error when it can't be read,
/// is no regular file, or belongs to another user.
std::optional<std::string> readPrivateFile(const std::string& path);

/// Replaces the file as a whole, with mode 0600: written beside, synchronised, renamed, and the
/// folder synchronised. Throws std::runtime_error, and leaves the old file as it was, when any of
/// the steps before the renaming fails.
void writePrivateFile(const std::string& path, const std::string& text);

/// Holds a lock file for as long as the object lives, so that one process works with a folder.
class FolderLock {
 public:
  /// No value while another process holds the lock. Throws std::runtime_error when the lock file
  /// can't be opened.
  static std::optional<FolderLock> take(const std::string& folder);
  FolderLock(FolderLock&& other) noexcept;
  FolderLock& operator=(FolderLock&&) = delete;
  ~FolderLock();

 private:
  explicit FolderLock(int descriptor) : descriptor_(descriptor) {}

  int descriptor_;
};

}  // namespace idlewyn::relay

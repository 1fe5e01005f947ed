// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <memory>
#include <vector>

#include "ConnectionList.hpp"

namespace idlewyn::command {

/// The list as a JSON file that only its owner can read, for it holds the access tokens.
///
///     ConnectionFile connections(ConnectionFile::defaultDirectory());
///     connections.update([&](auto& list) { list.push_back(connection); });
class ConnectionFile final : public ConnectionList {
 public:
  /// `idlewyn` below XDG_DATA_HOME, or below ~/.local/share when that is not an absolute path.
  /// Throws a Failure when neither it nor HOME is set.
  static std::filesystem::path defaultDirectory();

  /// Makes nothing on disk; the directory (mode 0700) and `connections.json` (0600) come with
  /// the first update.
  explicit ConnectionFile(std::filesystem::path directory);

  std::vector<Connection> load() const override;
  /// Written beside the file, flushed to the disk and renamed over it. Only under `update`.
  void save(const std::vector<Connection>& connections) override;

  const std::filesystem::path& file() const noexcept { return file_; }

 protected:
  std::shared_ptr<void> exclude() override;

 private:
  const std::filesystem::path directory_;
  const std::filesystem::path file_;
};

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
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
  /// the first update. While another process updates, `pause` is called again and again; it
  /// sleeps a little, and may throw to end the waiting. After `limit` that is a Failure.
  explicit ConnectionFile(std::filesystem::path directory,
                          std::function<void(std::chrono::milliseconds)> pause = sleep,
                          std::chrono::milliseconds limit = std::chrono::seconds(10));

  /// Refuses a file that belongs to somebody else or that others may use, and a symbolic link,
  /// which the next update would replace.
  std::vector<Connection> load() const override;
  /// Written beside the file, flushed to the disk and renamed over it. Only under `update`.
  void save(const std::vector<Connection>& connections) override;

  const std::filesystem::path& file() const noexcept { return file_; }

 protected:
  void trySaving(const std::vector<Connection>& connections) override;
  std::shared_ptr<void> exclude() override;

 private:
  static void sleep(std::chrono::milliseconds time);
  void writeFresh(const std::vector<Connection>& connections) const;

  const std::filesystem::path directory_;
  const std::filesystem::path file_;
  const std::filesystem::path fresh_;
  const std::function<void(std::chrono::milliseconds)> pause_;
  const std::chrono::milliseconds limit_;
};

}  // namespace idlewyn::command

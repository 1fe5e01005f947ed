// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include <tools/relay/agents/FileWatch.hpp>
#include <tools/relay/agents/codex/Rollout.hpp>

/// Follows the files in which Codex records its sessions, from where they end now.
///
///     RolloutWatch rollouts(watch, [](const std::string& session, const TurnEnd& end) { ... });
///     rollouts.follow(sessionID, transcriptPath);
namespace idlewyn::relay::codex {

class RolloutWatch {
 public:
  using Ended = std::function<void(const std::string& sessionID, const TurnEnd& end)>;

  RolloutWatch(FileWatch& watch, Ended ended) : watch_(watch), ended_(std::move(ended)) {}
  RolloutWatch(const RolloutWatch&) = delete;
  RolloutWatch& operator=(const RolloutWatch&) = delete;
  ~RolloutWatch();

  /// A session's first path is the one that counts; no path changes nothing.
  void follow(const std::string& sessionID, const std::string& path);
  void forget(const std::string& sessionID);

 private:
  struct File {
    std::string path;
    std::uint64_t watch = 0;
    std::uint64_t offset = 0;
    /// The beginning of a line that isn't complete.
    std::string rest;
    bool isSkipping = false;
  };

  void read(const std::string& sessionID);
  void takeBytes(const std::string& sessionID, File& file, std::string_view bytes);

  FileWatch& watch_;
  Ended ended_;
  std::map<std::string, File> files_;
};

}  // namespace idlewyn::relay::codex

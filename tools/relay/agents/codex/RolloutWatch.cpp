// SPDX-License-Identifier: MIT
#include <tools/relay/agents/codex/RolloutWatch.hpp>

#include <array>
#include <filesystem>
#include <fstream>
#include <vector>

namespace idlewyn::relay::codex {
namespace {

/// A line that ends a turn carries one message. Longer lines are of other kinds.
constexpr std::size_t longestLine = 1U << 20U;

}  // namespace

RolloutWatch::~RolloutWatch() {
  for (const auto& [session, file] : files_)
    watch_.remove(file.watch);
}

void RolloutWatch::follow(const std::string& sessionID, const std::string& path) {
  if (path.empty() || files_.contains(sessionID)) return;
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return;
  File file;
  file.path = path;
  file.offset = std::filesystem::file_size(path, error);
  file.watch = watch_.add(path, [this, sessionID](const std::string&) { read(sessionID); });
  files_.emplace(sessionID, std::move(file));
}

void RolloutWatch::forget(const std::string& sessionID) {
  const auto found = files_.find(sessionID);
  if (found == files_.end()) return;
  watch_.remove(found->second.watch);
  files_.erase(found);
}

void RolloutWatch::read(const std::string& sessionID) {
  const auto found = files_.find(sessionID);
  if (found == files_.end()) return;
  std::ifstream stream(found->second.path, std::ios::binary);
  stream.seekg(static_cast<std::streamoff>(found->second.offset));
  std::string bytes;
  std::array<char, 65536> chunk;
  while (stream.read(chunk.data(), chunk.size()), stream.gcount() > 0)
    takeBytes(sessionID, found->second,
              std::string_view(chunk.data(), static_cast<std::size_t>(stream.gcount())));
}

void RolloutWatch::takeBytes(const std::string& sessionID, File& file, std::string_view bytes) {
  file.offset += bytes.size();
  std::vector<TurnEnd> ends;
  while (!bytes.empty()) {
    const std::size_t end = bytes.find('\n');
    const std::string_view piece = bytes.substr(0, end);
    if (file.rest.size() + piece.size() > longestLine) {
      file.isSkipping = true;
      file.rest.clear();
    }
    if (!file.isSkipping) file.rest.append(piece);
    if (end == std::string_view::npos) break;
    if (!file.isSkipping) {
      if (auto ended = turnEnd(file.rest)) ends.push_back(std::move(*ended));
    }
    file.isSkipping = false;
    file.rest.clear();
    bytes.remove_prefix(end + 1);
  }
  for (const TurnEnd& end : ends)
    ended_(sessionID, end);
}

}  // namespace idlewyn::relay::codex

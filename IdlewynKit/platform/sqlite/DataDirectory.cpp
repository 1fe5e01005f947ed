// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/sqlite/DataDirectory.hpp>

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include <IdlewynKit/platform/base/internal/Program.hpp>

namespace idlewyn::platform {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t longestEntry = 1 << 20;  // of the user database

std::optional<fs::path> pathIn(const char* variable) {
  auto value = internal::environmentVariable(variable);
  if (!value || value->front() != '/') return std::nullopt;
  return *std::move(value);
}

std::optional<fs::path> home() {
  if (std::optional<fs::path> path = pathIn("HOME")) return path;
  passwd entry{}, *found = nullptr;
  std::vector<char> buffer(1024);
  while (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE &&
         buffer.size() < longestEntry)
    buffer.resize(2 * buffer.size());
  if (found == nullptr || found->pw_dir == nullptr || found->pw_dir[0] != '/') return std::nullopt;
  return found->pw_dir;
}

}  // namespace

std::optional<fs::path> dataDirectory() {
  if (std::optional<fs::path> path = pathIn("IDLEWYN_DATA_DIR")) return path;
  if (const std::optional<fs::path> path = pathIn("XDG_DATA_HOME")) return *path / "idlewyn";
  if (const std::optional<fs::path> path = home()) return *path / ".local/share/idlewyn";
  return std::nullopt;
}

}  // namespace idlewyn::platform

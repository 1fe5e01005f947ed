// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/sqlite/DataDirectory.hpp>

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace idlewyn::platform {
namespace {

namespace fs = std::filesystem;

std::optional<fs::path> pathIn(const char* variable) {
  const char* value = std::getenv(variable);
  if (value == nullptr || value[0] != '/') return std::nullopt;
  return value;
}

std::optional<fs::path> home() {
  if (std::optional<fs::path> path = pathIn("HOME")) return path;
  passwd entry{}, *found = nullptr;
  std::array<char, 4096> buffer;
  if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 ||
      found == nullptr || found->pw_dir == nullptr || found->pw_dir[0] != '/') {
    return std::nullopt;
  }
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

// SPDX-License-Identifier: MIT
#include <tools/idlewyn/watch/Dashboard.hpp>

#include <array>
#include <cstdlib>
#include <sstream>
#include <string>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <tools/idlewyn/system/ProgramFolder.hpp>

namespace idlewyn::command {

std::optional<std::filesystem::path> installedDashboard() {
  constexpr const char* name = "idlewyn-dashboard";
  const char* path = std::getenv("PATH");
  std::istringstream folders(programFolder().string() + ":" + (path == nullptr ? "" : path));
  for (std::string folder; std::getline(folders, folder, ':');) {
    const std::filesystem::path program = std::filesystem::path(folder) / name;
    if (program.is_absolute() && access(program.c_str(), X_OK) == 0) return program;
  }
  return std::nullopt;
}

void openDashboard(const std::filesystem::path& program) {
  std::string setsid = "setsid", fork = "--fork", file = program.string();
  std::array<char*, 4> arguments{setsid.data(), fork.data(), file.data(), nullptr};
  pid_t child = 0;
  if (posix_spawnp(&child, "setsid", nullptr, nullptr, arguments.data(), environ) != 0) return;
  waitpid(child, nullptr, 0);  // it ends at once
}

}  // namespace idlewyn::command

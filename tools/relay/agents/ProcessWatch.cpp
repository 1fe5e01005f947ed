// SPDX-License-Identifier: MIT
#include <tools/relay/agents/ProcessWatch.hpp>

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <string_view>

namespace idlewyn::relay {
namespace {

bool isShell(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/comm");
  std::string name;
  std::getline(file, name);
  constexpr std::array<std::string_view, 4> shells{"sh", "bash", "dash", "zsh"};
  return std::find(shells.begin(), shells.end(), name) != shells.end();
}

}  // namespace

void ProcessWatch::watch(const std::string& name, pid_t process, std::function<void()> ended) {
  if (const auto found = processes_.find(name);
      found != processes_.end() && found->second.id == process)
    return;
  // 1 is what adopts the orphans of agents that have gone.
  if (process <= 1 || isShell(process)) return;
  const auto descriptor = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
  if (descriptor < 0) return;
  processes_.erase(name);
  auto& watched =
      processes_
          .emplace(name,
                   Process{process, boost::asio::posix::stream_descriptor(context_, descriptor)})
          .first->second;
  watched.descriptor.async_wait(
      boost::asio::posix::stream_descriptor::wait_read,
      [this, name, process, ended = std::move(ended)](boost::system::error_code error) {
        const auto found = processes_.find(name);
        if (error || found == processes_.end() || found->second.id != process) return;
        processes_.erase(found);
        ended();
      });
}

}  // namespace idlewyn::relay

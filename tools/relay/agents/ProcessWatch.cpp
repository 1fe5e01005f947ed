// SPDX-License-Identifier: MIT
#include <tools/relay/agents/ProcessWatch.hpp>

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <string_view>

#include <boost/asio/post.hpp>

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

std::uint64_t processStart(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string text;
  std::getline(file, text);
  // The second field is a name that may contain anything; the start is the twentieth after it.
  std::size_t at = text.rfind(')');
  for (int field = 0; at != std::string::npos && field < 20; ++field)
    at = text.find(' ', at + 1);
  std::uint64_t start = 0;
  if (at != std::string::npos)
    std::from_chars(text.data() + at + 1, text.data() + text.size(), start);
  return start;
}

bool ProcessWatch::isWatched(const std::string& name, pid_t process, std::uint64_t start) const {
  const auto found = processes_.find(name);
  return found != processes_.end() && found->second.id == process && found->second.start == start;
}

void ProcessWatch::watch(const std::string& name, pid_t process, std::uint64_t start,
                         std::function<void()> ended) {
  if (isWatched(name, process, start)) return;
  // 1 is what adopts the orphans of agents that have gone.
  if (process <= 1 || isShell(process)) return;
  const auto descriptor = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
  // From here on the number can't be given to another process unnoticed.
  if (start != 0 && processStart(process) != start) {
    if (descriptor >= 0) close(descriptor);
    processes_.erase(name);
    return boost::asio::post(context_, std::move(ended));
  }
  if (descriptor < 0) return;
  processes_.erase(name);
  auto& watched =
      processes_
          .emplace(name, Process{process, start,
                                 boost::asio::posix::stream_descriptor(context_, descriptor)})
          .first->second;
  watched.descriptor.async_wait(
      boost::asio::posix::stream_descriptor::wait_read,
      [this, name, process, start, ended = std::move(ended)](boost::system::error_code error) {
        if (error || !isWatched(name, process, start)) return;
        processes_.erase(name);
        ended();
      });
}

}  // namespace idlewyn::relay

// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>

/// Tells when an agent's process ends, whatever ends it. A number that the system gives to
/// another process later is not mistaken for it.
///
///     ProcessWatch processes(context);
///     processes.watch(sessionID, pid, [] { ... });
namespace idlewyn::relay {

/// When the process began, in the kernel's ticks; 0 when there is none.
std::uint64_t processStart(pid_t process);

class ProcessWatch {
 public:
  explicit ProcessWatch(boost::asio::io_context& context) : context_(context) {}
  ProcessWatch(const ProcessWatch&) = delete;
  ProcessWatch& operator=(const ProcessWatch&) = delete;

  /// One process for each name; another one replaces it. `start` is when it began, or 0 when that
  /// isn't known: a process that has its number and another start is not it, so it has ended.
  /// `ended` is called once, on the context's thread and never from here. Processes that can't be
  /// watched, shells among them, are left alone: a shell that starts a hook says nothing about its
  /// agent.
  void watch(const std::string& name, pid_t process, std::uint64_t start,
             std::function<void()> ended);
  void forget(const std::string& name) { processes_.erase(name); }

 private:
  struct Process {
    pid_t id;
    std::uint64_t start;
    boost::asio::posix::stream_descriptor descriptor;
  };

  bool isWatched(const std::string& name, pid_t process, std::uint64_t start) const;

  boost::asio::io_context& context_;
  std::map<std::string, Process> processes_;
};

}  // namespace idlewyn::relay

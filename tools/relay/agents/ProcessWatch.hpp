// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

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

class ProcessWatch {
 public:
  explicit ProcessWatch(boost::asio::io_context& context) : context_(context) {}
  ProcessWatch(const ProcessWatch&) = delete;
  ProcessWatch& operator=(const ProcessWatch&) = delete;

  /// One process for each name; another one replaces it. `ended` is called once, on the
  /// context's thread. Processes that can't be watched, shells among them, are left alone: a
  /// shell that starts a hook says nothing about its agent.
  void watch(const std::string& name, pid_t process, std::function<void()> ended);
  void forget(const std::string& name) { processes_.erase(name); }

 private:
  struct Process {
    pid_t id;
    boost::asio::posix::stream_descriptor descriptor;
  };

  boost::asio::io_context& context_;
  std::map<std::string, Process> processes_;
};

}  // namespace idlewyn::relay

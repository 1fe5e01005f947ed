// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

/// A server of another vendor's, as a process that ends with this one.
namespace idlewyn::testing {

class ServerProcess {
 public:
  ServerProcess() = default;
  ~ServerProcess() { end(SIGKILL); }
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  /// For the shell, which the server has to replace ("exec ...").
  void start(const std::string& command) {
    pid_ = fork();
    if (pid_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    _exit(127);
  }
  /// False when it has ended before, or in twenty seconds the condition never came true.
  template <class Condition>
  bool await(Condition condition) {
    for (int i = 0; i < 4000 && pid_ > 0; ++i) {
      if (condition()) return true;
      if (waitpid(pid_, nullptr, WNOHANG) != 0) pid_ = -1;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
  }
  void signal(int number) const { kill(pid_, number); }
  /// Also when it was stopped.
  void end(int number) {
    if (pid_ <= 0) return;
    kill(pid_, number);
    kill(pid_, SIGCONT);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

 private:
  pid_t pid_ = -1;
};

}  // namespace idlewyn::testing

// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <new>
#include <utility>

namespace idlewyn::testing {

/// A forked child that ends with what the function returns, or by SIGALRM after twenty seconds.
///
///     EXPECT_EQ(ChildProcess([&] { return store.put("x") == "ok" ? 0 : 1; }).status(), 0);
class ChildProcess {
 public:
  explicit ChildProcess(const std::function<int()>& run) : pid_(fork()) {
    if (pid_ != 0) return;
    alarm(20);
    _exit(run());
  }
  ChildProcess(ChildProcess&& other) noexcept
      : pid_(std::exchange(other.pid_, -1)), status_(other.status_) {}
  ChildProcess& operator=(ChildProcess&&) = delete;
  ~ChildProcess() { kill(); }

  /// The exit status, 128 and the signal's number for a child that was killed.
  int status() {
    if (pid_ > 0) {
      int status = 0;
      waitpid(std::exchange(pid_, -1), &status, 0);
      status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    return status_;
  }
  void kill() {
    if (pid_ > 0) ::kill(pid_, SIGKILL);
    status();
  }
  /// Waits for the child to stop itself.
  void awaitStop() const {
    int status = 0;
    waitpid(pid_, &status, WUNTRACED);
  }

 private:
  pid_t pid_;
  int status_ = -1;
};

/// Shared with the children that are forked later; there until this process ends.
inline std::atomic<int>& sharedNumber() {
  void* const page =
      mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  return *new (page) std::atomic<int>(0);
}

}  // namespace idlewyn::testing

// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace idlewyn::relay {

/// The hook program as an agent starts it: the payload on its input, its output in a pipe.
class HookChild {
 public:
  HookChild(std::vector<std::string> words, std::string_view payload) {
    signal(SIGPIPE, SIG_IGN);  // a hook may end before it has read everything
    int input[2];
    int output[2];
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) std::abort();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    words.insert(words.begin(), RELAY_HOOK_PROGRAM);
    std::vector<char*> arguments;
    for (std::string& word : words)
      arguments.push_back(word.data());
    arguments.push_back(nullptr);
    EXPECT_EQ(
        posix_spawn(&process_, RELAY_HOOK_PROGRAM, &actions, nullptr, arguments.data(), environ),
        0);
    posix_spawn_file_actions_destroy(&actions);
    close(input[0]);
    close(output[1]);
    output_ = output[0];
    while (!payload.empty()) {
      const ssize_t size = write(input[1], payload.data(), payload.size());
      if (size <= 0) break;
      payload.remove_prefix(static_cast<std::size_t>(size));
    }
    hasTakenItsInput_ = payload.empty();
    close(input[1]);
  }
  HookChild(const HookChild&) = delete;
  HookChild& operator=(const HookChild&) = delete;
  ~HookChild() {
    closeOutput();
    if (!hasEnded()) {
      kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
    }
  }

  bool hasTakenItsInput() const { return hasTakenItsInput_; }

  bool hasEnded() {
    int status = 0;
    if (!status_ && waitpid(process_, &status, WNOHANG) == process_) status_ = status;
    return status_.has_value();
  }
  /// The wait status; 0 is the only good one.
  std::optional<int> status() {
    hasEnded();
    return status_;
  }

  /// After the end: what it printed.
  std::string output() {
    std::string text;
    char chunk[4096];
    for (ssize_t size; (size = read(output_, chunk, sizeof chunk)) > 0;)
      text.append(chunk, static_cast<std::size_t>(size));
    return text;
  }

  void closeOutput() {
    if (output_ >= 0) close(std::exchange(output_, -1));
  }
  void end() { kill(process_, SIGTERM); }

 private:
  pid_t process_ = -1;
  int output_ = -1;
  bool hasTakenItsInput_ = false;
  std::optional<int> status_;
};

}  // namespace idlewyn::relay

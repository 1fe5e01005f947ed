// SPDX-License-Identifier: MIT
#include "network/ChildProcess.hpp"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

#include "network/Interleaved.hpp"

namespace idlewyn::bench {
namespace {

constexpr const char* childOption = "--as-child";
constexpr int fetchesAfterTheFirst = 3;

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "child process: %s\n", what);
  std::exit(2);
}

// A number from the process's status file; 0 when it is not there.
int statusValue(const std::string& process, const std::string& name) {
  std::ifstream file("/proc/" + process + "/status");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(name + ":")) return std::atoi(line.c_str() + name.size() + 1);
  }
  return 0;
}

pid_t spawn(const std::vector<std::string>& arguments, int output) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  std::vector<char*> pointers;
  for (const std::string& argument : arguments)
    pointers.push_back(const_cast<char*>(argument.c_str()));
  pointers.push_back(nullptr);
  pid_t child = -1;
  if (posix_spawn(&child, "/proc/self/exe", &actions, nullptr, pointers.data(), environ) != 0) {
    fail("can't be started");
  }
  posix_spawn_file_actions_destroy(&actions);
  return child;
}

}  // namespace

Fresh measureInChild(const std::string& side, const Relay& relay, std::size_t count) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) fail("no pipe");
  const pid_t child = spawn({"bench_network", childOption, side, relay.address,
                             relay.pin.empty() ? "-" : relay.pin, std::to_string(count)},
                            ends[1]);
  close(ends[1]);
  Fresh fresh;
  std::string text;
  pollfd end{ends[0], POLLIN, 0};
  for (bool isOpen = true; isOpen;) {
    // Seldom enough to take no time from what is measured.
    if (poll(&end, 1, 10) == 0) {
      fresh.threads = std::max(fresh.threads, statusValue(std::to_string(child), "Threads"));
      continue;
    }
    char buffer[256];
    const ssize_t size = read(ends[0], buffer, sizeof(buffer));
    isOpen = size > 0;
    if (isOpen) text.append(buffer, static_cast<std::size_t>(size));
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  int threads = 0;
  std::istringstream(text) >> fresh.coldMilliseconds >> fresh.peakMegabytes >> threads;
  fresh.threads = std::max(fresh.threads, threads);
  if (status != 0 || threads == 0) fail("ended without figures");
  return fresh;
}

bool isChild(int argc, char** argv) { return argc == 6 && std::strcmp(argv[1], childOption) == 0; }

int runAsChild(char** argv) {
  const Relay relay{argv[3], std::strcmp(argv[4], "-") == 0 ? "" : argv[4]};
  const std::size_t count = std::strtoul(argv[5], nullptr, 10);
  Fetch fetch;
  const double cold = elapsed(1, [&] {
    fetch = makeSide(argv[2], relay);
    fetch(count);
  });
  for (int i = 0; i < fetchesAfterTheFirst; ++i)
    fetch(count);
  std::printf("%f %f %d\n", cold, statusValue("self", "VmHWM") / 1024.0,
              statusValue("self", "Threads"));
  return 0;
}

}  // namespace idlewyn::bench

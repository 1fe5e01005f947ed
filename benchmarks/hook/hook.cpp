// SPDX-License-Identifier: MIT
// An event of an agent, from the start of the hook program to its end, against a program that
// connects and writes and does nothing else. The relay's side is a thread that reads and closes.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <tests/support/TemporaryFolder.hpp>

#include "network/Interleaved.hpp"
#include "support/Ratio.hpp"

using namespace idlewyn;
using namespace idlewyn::bench;

namespace {

/// Reads what each connection sends to its end. Ends with the program.
void listenAt(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener, 64) != 0) {
    std::puts("no socket to listen at");
    std::exit(2);
  }
  std::thread([listener] {
    std::vector<char> chunk(65536);
    for (;;) {
      const int peer = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
      while (read(peer, chunk.data(), chunk.size()) > 0) {
      }
      close(peer);
    }
  }).detach();
}

/// Started as an agent starts it, with the file on its input, and waited for.
void run(const std::vector<std::string>& words, const std::string& input) {
  std::vector<char*> arguments;
  for (const std::string& word : words)
    arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, input.c_str(), O_RDONLY, 0);
  pid_t child = 0;
  const int error = posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  int status = 1;
  if (error == 0) waitpid(child, &status, 0);
  if (status == 0) return;
  std::printf("%s does not run\n", words[0].c_str());
  std::exit(2);
}

/// Returns the processor time of all child processes that have ended so far.
double processorMilliseconds() {
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  const auto milliseconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
  };
  return milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime);
}

}  // namespace

int main(int argc, char** argv) {
  const bool isQuick = std::find(argv, argv + argc, std::string_view("--quick")) != argv + argc;
  const testing::TemporaryFolder folder;
  const std::string socket = (folder.path() / "hook.sock").string();
  const std::string payload = (folder.path() / "payload.json").string();
  std::FILE* file = std::fopen(payload.c_str(), "w");
  // As long as a usual one.
  std::fprintf(file, R"({"session_id":"s","hook_event_name":"PostToolUse","tool_response":"%s"})",
               std::string(2000, 'x').c_str());
  std::fclose(file);
  listenAt(socket);

  const std::vector<std::string> hook{HOOK_PROGRAM, "claude", "PostToolUse", "--socket", socket};
  const std::vector<std::string> nothing{HOOK_NOTHING, socket};
  const int times = 20;
  double processor = 0;
  int runs = 0;
  const Interleaved result = interleave(
      isQuick ? 15 : 61,
      [&] {
        const double before = processorMilliseconds();
        const double taken = elapsed(times, [&] { run(hook, payload); });
        processor += processorMilliseconds() - before;
        runs += times;
        return taken;
      },
      [&] { return elapsed(times, [&] { run(nothing, payload); }); });
  std::printf("an event: %.3f ms, %.3f ms\n", result.subject, result.baseline);
  Comparisons comparisons(argc, argv);
  comparisons.value("an event / a program that connects and writes", 1.5, result.ratio);
  comparisons.value("an event, ms of processor", 5, processor / runs);
  return comparisons.finish();
}

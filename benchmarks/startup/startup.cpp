// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <regex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <IdlewynKit/storage/SnapshotStore.hpp>
#include <tests/support/TemporaryFolder.hpp>

#include "network/Interleaved.hpp"
#include "support/Ratio.hpp"
#include "support/SampleSessions.hpp"

using namespace idlewyn;
using namespace idlewyn::bench;
namespace fs = std::filesystem;

namespace {

constexpr double none = std::numeric_limits<double>::infinity();
using Words = std::vector<std::string>;

/// To its end, and without its output. Ends this program when it fails.
void run(const Words& words) {
  std::vector<char*> arguments;
  for (const std::string& word : words)
    arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  const int error = posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  int status = 1;
  if (error == 0) waitpid(child, &status, 0);
  if (status == 0) return;
  std::printf("%s does not run\n", words[0].c_str());
  std::exit(2);
}

/// The names of what the loader loads for it, from the start or later.
std::set<std::string> librariesOf(const Words& words, const fs::path& folder) {
  setenv("LD_DEBUG", "files", 1);
  setenv("LD_DEBUG_OUTPUT", (folder / "loaded").c_str(), 1);
  run(words);
  unsetenv("LD_DEBUG");
  unsetenv("LD_DEBUG_OUTPUT");
  constexpr std::string_view mark = "calling init: ";
  std::set<std::string> names;
  for (const auto& log : fs::directory_iterator(folder)) {
    std::ifstream lines(log.path());
    for (std::string line; std::getline(lines, line);) {
      const std::size_t at = line.find(mark);
      if (at != std::string::npos) names.insert(fs::path(line.substr(at + mark.size())).filename());
    }
  }
  return names;
}

/// Libraries of drawing, of the desktop's loop and of its bus.
long heavyAmong(const std::set<std::string>& names) {
  static const std::regex heavy(
      "cairo|pango|harfbuzz|freetype|fontconfig|icu|gtk|gdk|glib|gobject|gio|dbus|secret");
  return std::ranges::count_if(
      names, [](const std::string& name) { return std::regex_search(name, heavy); });
}

}  // namespace

int main(int argc, char** argv) {
  const bool isQuick = std::find(argv, argv + argc, std::string_view("--quick")) != argv + argc;
  const testing::TemporaryFolder data, logs;
  setenv("IDLEWYN_DATA_DIR", data.path().c_str(), 1);
  SnapshotStore::shared().save(SessionSnapshot(sampleSessions(20), platform::DateClock::now()));

  const Words status{STARTUP_COMMAND, "status", "--format", "waybar"};
  const auto libraries = librariesOf(status, logs.path());
  std::printf("idlewyn status loads %zu libraries:\n", libraries.size());
  for (const std::string& name : libraries)
    std::printf("  %s\n", name.c_str());

  Comparisons comparisons(argc, argv);
  comparisons.value("libraries of drawing, GLib or D-Bus", 0,
                    static_cast<double>(heavyAmong(libraries)));
  const auto compare = [&](const char* title, double limit, const Words& baseline) {
    const Interleaved result = interleave(
        isQuick ? 15 : 61, [&] { return elapsed(5, [&] { run(status); }); },
        [&] { return elapsed(5, [&] { run(baseline); }); });
    std::printf("%s: %.2f ms, %.2f ms\n", title, result.subject, result.baseline);
    comparisons.value(title, limit, result.ratio);
  };
  compare("status / a program that does nothing", none, {STARTUP_NOTHING});
  compare("status / the same by a program with Core", 1.25, {STARTUP_CORE});
  compare("status / the same by a program with UI", 0.75, {STARTUP_UI});
  return comparisons.finish();
}

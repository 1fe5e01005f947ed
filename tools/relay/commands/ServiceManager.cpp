// SPDX-License-Identifier: MIT
#include <tools/relay/commands/ServiceManager.hpp>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include <tools/relay/commands/Control.hpp>
#include <tools/relay/state/StateFile.hpp>

extern char** environ;

namespace idlewyn::relay {
namespace {

/// The exit status; -1 where the program can't be started or was killed.
int runProgram(const std::vector<std::string>& words) {
  std::vector<char*> arguments;
  for (const std::string& word : words)
    arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  pid_t child = 0;
  if (::posix_spawnp(&child, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0) {
    return -1;
  }
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool isInstalled() {
  for (const char* folder :
       {"/usr/lib/systemd/user/", "/usr/local/lib/systemd/user/", "/etc/systemd/user/"}) {
    if (std::filesystem::exists(std::string(folder) + "idlewyn-relay.service")) return true;
  }
  return false;
}

/// The unit for a relay that no package has installed.
void writeUnit() {
  const char* config = std::getenv("XDG_CONFIG_HOME");
  const std::string base =
      config != nullptr && config[0] == '/' ? config : homeFolder() + "/.config";
  const std::filesystem::path unit = base + "/systemd/user/idlewyn-relay.service";
  std::filesystem::create_directories(unit.parent_path());
  std::ofstream(unit) << "[Unit]\n"
                         "Description=Relay of coding agents' sessions\n\n"
                         "[Service]\n"
                         "Type=notify\n"
                         "ExecStart="
                      << std::filesystem::canonical("/proc/self/exe").string()
                      << " serve\n"
                         "Restart=on-failure\n"
                         "NoNewPrivileges=yes\n"
                         "LimitCORE=0\n\n"
                         "[Install]\n"
                         "WantedBy=default.target\n";
  std::cout << "Wrote " << unit.string() << ".\n";
}

void offerLingering() {
  if (::isatty(STDIN_FILENO) == 0) return;
  std::cout << "Without lingering the relay stops when you log out, and no agent that still runs "
               "can be answered.\nEnable it (loginctl enable-linger)? [y/N] "
            << std::flush;
  std::string answer;
  if (std::getline(std::cin, answer) && (answer == "y" || answer == "yes")) {
    if (runProgram({"loginctl", "enable-linger"}) != 0) {
      std::cout << "loginctl could not enable it.\n";
    }
  }
}

bool isAnswering(const std::string& folder) {
  for (int tries = 0; tries < 50; ++tries) {
    if (isRunning(folder)) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return false;
}

}  // namespace

bool startService(const std::string& folder) {
  if (folder != defaultStateFolder()) {
    std::cout << "The service serves " << defaultStateFolder() << ", not " << folder << ".\n";
    return false;
  }
  if (runProgram({"systemctl", "--user", "--quiet", "daemon-reload"}) != 0) {
    std::cout << "systemd's user manager does not run here, so nothing starts the relay by "
                 "itself.\n";
    return false;
  }
  if (!isInstalled()) {
    writeUnit();
    runProgram({"systemctl", "--user", "--quiet", "daemon-reload"});
  }
  if (runProgram({"systemctl", "--user", "enable", "--now", "idlewyn-relay.service"}) != 0 ||
      !isAnswering(folder)) {
    std::cout << "The service did not start. Its log: journalctl --user -u idlewyn-relay\n";
    return false;
  }
  offerLingering();
  return true;
}

}  // namespace idlewyn::relay

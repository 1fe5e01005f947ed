// SPDX-License-Identifier: MIT
#include "KeyringSession.hpp"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace idlewyn::testing {
namespace {

using namespace std::chrono_literals;
/// A child that ends with this process, with nothing but the environment that the command sets.
pid_t start(const std::string& command) {
  const pid_t child = fork();
  if (child != 0) return child;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  execl("/bin/sh", "sh", "-c", ("exec env -i PATH=/usr/bin:/bin " + command).c_str(), nullptr);
  _exit(127);
}

template <class Condition>
void await(const char* what, Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + 20s;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) throw std::runtime_error(what);
    std::this_thread::sleep_for(5ms);
  }
}

void end(pid_t& child, int number) {
  if (child <= 0) return;
  kill(child, number);
  kill(child, SIGCONT);
  waitpid(child, nullptr, 0);
  child = -1;
}

}  // namespace

KeyringSession::KeyringSession(Keyring keyring) {
  address_ = "unix:path=" + (folder_.path() / "bus").string();
  for (const char* name : {"data", "config", "runtime", "services"})
    std::filesystem::create_directory(folder_.path() / name);
  startBus(keyring);
  if (keyring == Keyring::unlocked) startKeyring(true);
  if (keyring == Keyring::withoutCollection) startKeyring(false);
}

KeyringSession::~KeyringSession() {
  end(keyring_, SIGKILL);
  end(bus_, SIGKILL);
}

KeyringSession& KeyringSession::shared() {
  static KeyringSession session(Keyring::unlocked);
  return session;
}

void KeyringSession::enter() const { setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1); }

void KeyringSession::startBus(Keyring keyring) {
  if (keyring == Keyring::neverUp) {
    std::ofstream(folder_.path() / "services/secrets.service")
        << "[D-BUS Service]\nName=org.freedesktop.secrets\nExec=/bin/sleep 5\n";
  }
  const std::string configuration = (folder_.path() / "bus.conf").string();
  std::ofstream(configuration)
      << "<busconfig><type>session</type><listen>" << address_ << "</listen><servicedir>"
      << (folder_.path() / "services").string()
      << "</servicedir><auth>EXTERNAL</auth><policy context=\"default\">"
         "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
         "<allow own=\"*\"/></policy></busconfig>";
  bus_ =
      start("dbus-daemon --nofork --config-file=" + configuration + " </dev/null >/dev/null 2>&1");
  await("the bus does not start; is dbus-daemon installed?",
        [&] { return std::filesystem::exists(folder_.path() / "bus"); });
}

void KeyringSession::startKeyring(bool isUnlocked) {
  const std::string base = folder_.path().string(), password = base + "/password";
  std::ofstream(password) << "sesame";
  keyring_ =
      start("HOME=" + base + " XDG_DATA_HOME=" + base + "/data XDG_CONFIG_HOME=" + base +
            "/config XDG_RUNTIME_DIR=" + base + "/runtime DBUS_SESSION_BUS_ADDRESS=" + address_ +
            " gnome-keyring-daemon --foreground --components=secrets" +
            (isUnlocked ? " --unlock <" : " <") + password + " >/dev/null 2>&1");
  await("the keyring does not start; is gnome-keyring installed?", [&] { return isServiceUp(); });
}

bool KeyringSession::send(const std::string& message) const {
  const std::string command =
      "dbus-send --bus=" + address_ + " --print-reply --reply-timeout=2000 --dest=" + message;
  return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

bool KeyringSession::isServiceUp() const {
  return send(
      "org.freedesktop.DBus /org/freedesktop/DBus org.freedesktop.DBus.GetNameOwner"
      " string:org.freedesktop.secrets");
}

void KeyringSession::lock() const {
  if (!send("org.freedesktop.secrets /org/freedesktop/secrets org.freedesktop.Secret.Service.Lock"
            " array:objpath:/org/freedesktop/secrets/collection/login")) {
    throw std::runtime_error("the keyring is not locked");
  }
}

void KeyringSession::restartKeyring(bool isUnlocked) {
  end(keyring_, SIGTERM);
  await("the old keyring stays on the bus", [&] { return !isServiceUp(); });
  startKeyring(isUnlocked);
}

void KeyringSession::signalKeyring(int number) const { kill(keyring_, number); }
void KeyringSession::signalBus(int number) const { kill(bus_, number); }

}  // namespace idlewyn::testing

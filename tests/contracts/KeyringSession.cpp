// SPDX-License-Identifier: MIT
#include "KeyringSession.hpp"

#include <cstdlib>
#include <stdexcept>

#include <tests/support/Files.hpp>

namespace idlewyn::testing {
namespace {

// With nothing but the environment that the command sets.
const std::string alone = "exec env -i PATH=/usr/bin:/bin ";

void require(bool condition, const char* what) {
  if (!condition) throw std::runtime_error(what);
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

KeyringSession& KeyringSession::shared() {
  static KeyringSession session(Keyring::unlocked);
  return session;
}

void KeyringSession::enter() const { setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1); }

void KeyringSession::startBus(Keyring keyring) {
  const std::string services = (folder_.path() / "services").string();
  if (keyring == Keyring::neverUp)
    overwrite(services + "/secrets.service",
              "[D-BUS Service]\nName=org.freedesktop.secrets\nExec=/bin/sleep 5\n");
  const std::string configuration = (folder_.path() / "bus.conf").string();
  overwrite(configuration,
            "<busconfig><type>session</type><listen>" + address_ + "</listen><servicedir>" +
                services +
                "</servicedir><auth>EXTERNAL</auth><policy context=\"default\">"
                "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
                "<allow own=\"*\"/></policy></busconfig>");
  bus_.start(alone + "dbus-daemon --nofork --config-file=" + configuration +
             " </dev/null >/dev/null 2>&1");
  require(bus_.await([&] { return std::filesystem::exists(folder_.path() / "bus"); }),
          "the bus does not start; is dbus-daemon installed?");
}

void KeyringSession::startKeyring(bool isUnlocked) {
  const std::string base = folder_.path().string(), password = base + "/password";
  overwrite(password, "sesame");
  keyring_.start(alone + "HOME=" + base + " XDG_DATA_HOME=" + base +
                 "/data XDG_CONFIG_HOME=" + base + "/config XDG_RUNTIME_DIR=" + base +
                 "/runtime DBUS_SESSION_BUS_ADDRESS=" + address_ +
                 " gnome-keyring-daemon --foreground --components=secrets" +
                 (isUnlocked ? " --unlock <" : " <") + password + " >/dev/null 2>&1");
  require(keyring_.await([&] { return isServiceUp(); }),
          "the keyring does not start; is gnome-keyring installed?");
}

bool KeyringSession::isServiceUp() const {
  const std::string command = "dbus-send --bus=" + address_ +
                              " --print-reply --reply-timeout=2000 --dest=org.freedesktop.DBus"
                              " /org/freedesktop/DBus org.freedesktop.DBus.GetNameOwner"
                              " string:org.freedesktop.secrets >/dev/null 2>&1";
  return std::system(command.c_str()) == 0;
}

}  // namespace idlewyn::testing

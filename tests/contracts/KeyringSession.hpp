// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <string>

#include <tests/support/TemporaryFolder.hpp>

/// A session bus of its own, with or without a keyring on it, for tests as any user.
///
///     KeyringSession session(KeyringSession::Keyring::unlocked);
///     session.enter();   // DBUS_SESSION_BUS_ADDRESS of this process names the bus
namespace idlewyn::testing {

class KeyringSession {
 public:
  enum class Keyring {
    unlocked,
    /// No service, and none that could be started.
    absent,
    /// The bus starts a service that never comes up.
    neverUp,
    /// A running service without a collection for new items.
    withoutCollection,
  };

  /// Throws std::runtime_error when a program is missing or does not start.
  explicit KeyringSession(Keyring keyring);
  ~KeyringSession();
  KeyringSession(const KeyringSession&) = delete;
  KeyringSession& operator=(const KeyringSession&) = delete;

  /// One for the process, unlocked.
  static KeyringSession& shared();

  const std::string& address() const { return address_; }
  void enter() const;

  /// What the user's desktop does when the screen is locked.
  void lock() const;
  /// Ends the keyring and starts it anew over the same items.
  void restartKeyring(bool isUnlocked = true);
  void signalKeyring(int number) const;
  void signalBus(int number) const;

 private:
  void startBus(Keyring keyring);
  void startKeyring(bool isUnlocked);
  bool send(const std::string& message) const;
  bool isServiceUp() const;

  const TemporaryFolder folder_;
  std::string address_;
  pid_t bus_ = -1;
  pid_t keyring_ = -1;
};

}  // namespace idlewyn::testing

// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <tests/support/ServerProcess.hpp>
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

  /// One for the process, unlocked.
  static KeyringSession& shared();

  const std::string& address() const { return address_; }
  void enter() const;

  void signalKeyring(int number) const { keyring_.signal(number); }
  void signalBus(int number) const { bus_.signal(number); }

 private:
  void startBus(Keyring keyring);
  void startKeyring(bool isUnlocked);
  bool isServiceUp() const;

  const TemporaryFolder folder_;
  std::string address_;
  ServerProcess bus_, keyring_;
};

}  // namespace idlewyn::testing

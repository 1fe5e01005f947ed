// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <tools/relay-core/ServerCertificate.hpp>
#include <tools/relay/state/Records.hpp>

/// The relay's folder: its state and its certificate.
///
///     StateFile file(defaultStateFolder());
///     file.state().away = true;
///     file.save();
namespace idlewyn::relay {

/// `idlewyn-relay` in $XDG_STATE_HOME, or in ~/.local/state of the password database's home.
std::string defaultStateFolder();
/// Where hooks look for the relay unless they are told: never taken from the environment.
std::string defaultHookSocket();
/// This user's home by the password database; $HOME where it has none.
std::string homeFolder();

class StateFile {
 public:
  /// Makes the folder if need be and reads what is in it. Throws std::runtime_error when the
  /// folder can't be used or the file in it is damaged.
  explicit StateFile(std::string folder);

  state::State& state() { return state_; }
  const state::State& state() const { return state_; }
  const std::string& folder() const { return folder_; }
  /// False before `setup`, or another command, has saved it once.
  bool exists() const { return exists_; }
  /// Survives a power failure when it returns. Throws std::runtime_error, and leaves the old file
  /// as it was, when it can't be written.
  void save();

  /// The one certificate of this relay: made at the first call, and never changed afterwards.
  ServerCertificate certificate() const;

 private:
  std::string folder_;
  state::State state_;
  bool exists_ = false;
};

}  // namespace idlewyn::relay

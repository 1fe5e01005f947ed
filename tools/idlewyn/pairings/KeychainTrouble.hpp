// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace idlewyn::command {

/// Why pairings can't be read or kept, where that can be told, and what helps. Both are sentences,
/// escaped.
struct KeychainTrouble {
  KeychainTrouble(std::string message, std::string remedy)
      : message(std::move(message)), remedy(std::move(remedy)) {}

  std::string message;
  std::string remedy;
};

/// Of the environment, the record of the place, and the keychain's file. Nothing is made.
std::optional<KeychainTrouble> keychainTrouble();

/// Why nothing can be kept in that folder, which need not exist yet.
std::optional<KeychainTrouble> folderTrouble(const std::string& folder);

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <IdlewynKit/platform/secrets/KeychainPlace.hpp>
#include <IdlewynKit/platform/secrets/internal/ListedKeychain.hpp>

/// How a keychain is chosen and moved, with everything that it depends on handed in.
namespace idlewyn::platform {

/// Makes the back ends. A test stands in for it.
class KeychainPlaces {
 public:
  virtual ~KeychainPlaces() = default;

  virtual std::shared_ptr<ListedKeychain> keychain(KeychainPlace place,
                                                   std::vector<std::string> accessGroups) = 0;
  /// Whether new items could be kept there.
  virtual KeychainStatus::Code reach(KeychainPlace place) = 0;
};

std::shared_ptr<KeychainPlaces> makeKeychainPlaces(std::filesystem::path directory);

struct KeychainSettings {
  KeychainSettings(std::optional<std::string> word, std::filesystem::path directory,
                   std::shared_ptr<KeychainPlaces> places)
      : word(std::move(word)), directory(std::move(directory)), places(std::move(places)) {}

  /// Those of the process, as its environment stands now.
  static KeychainSettings ofProcess();

  /// A place by name, when the user has said one.
  std::optional<std::string> word;
  /// Of the record; empty when there is no home.
  std::filesystem::path directory;
  std::shared_ptr<KeychainPlaces> places;
};

KeychainLocation whereIn(const KeychainSettings& settings);
std::shared_ptr<Keychain> makeSelectedKeychain(KeychainSettings settings,
                                               std::vector<std::string> accessGroups);
std::optional<std::filesystem::path> damagedFileOf(const KeychainSettings& settings);
KeychainAside setDamagedAsideOf(const KeychainSettings& settings);
KeychainMove moveWith(const KeychainSettings& settings, KeychainPlace to);

}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/base/internal/Program.hpp>
#include <IdlewynKit/platform/secrets/internal/FileKeychain.hpp>
#include <IdlewynKit/platform/secrets/internal/KeychainPlaces.hpp>
#include <IdlewynKit/platform/secrets/internal/KeychainRecord.hpp>
#include <IdlewynKit/platform/secrets/internal/MemoryKeychain.hpp>
#include <IdlewynKit/platform/secrets/internal/SecretServiceKeychain.hpp>
#include <IdlewynKit/platform/sqlite/DataDirectory.hpp>

namespace idlewyn::platform {
namespace {

class RealPlaces final : public KeychainPlaces {
 public:
  explicit RealPlaces(std::filesystem::path directory) : directory_(std::move(directory)) {}

  std::shared_ptr<ListedKeychain> keychain(KeychainPlace place,
                                           std::vector<std::string> groups) override {
    switch (place) {
      case KeychainPlace::secretService:
        return makeGroupedKeychain(sharedSecretServiceItems(), std::move(groups));
      case KeychainPlace::file: return makeFileKeychain(directory_, std::move(groups));
      case KeychainPlace::memory: break;
    }
    return makeGroupedKeychain(sharedMemoryItems(), std::move(groups));
  }

  KeychainStatus::Code reach(KeychainPlace place) override {
    return place == KeychainPlace::secretService ? reachSecretService() : KeychainStatus::success;
  }

 private:
  const std::filesystem::path directory_;
};

// Whether items are, or would first be, in a file.
bool usesFile(const KeychainSettings& settings) {
  if (settings.directory.empty()) return false;
  const KeychainLocation location = whereIn(settings);
  return location.place == KeychainPlace::file || location.reason == KeychainReason::undecided;
}

std::string named(KeychainPlace place, const std::filesystem::path& directory) {
  switch (place) {
    case KeychainPlace::secretService: return "in the Secret Service of the desktop session";
    case KeychainPlace::file: return "in a file in " + directory.string();
    case KeychainPlace::memory: break;
  }
  return "in the memory of this process";
}

}  // namespace

std::shared_ptr<KeychainPlaces> makeKeychainPlaces(std::filesystem::path directory) {
  return std::make_shared<RealPlaces>(std::move(directory));
}

KeychainSettings KeychainSettings::ofProcess() {
  const auto data = dataDirectory();
  const std::filesystem::path directory = data ? *data / "keychain" : std::filesystem::path();
  return {internal::environmentVariable("IDLEWYN_KEYCHAIN"), directory,
          makeKeychainPlaces(directory)};
}

KeychainLocation whereIn(const KeychainSettings& settings) {
  const auto& directory = settings.directory;
  if (settings.word) {
    const auto place = fromRawValue<KeychainPlace>(*settings.word);
    if (place) {
      return {place, KeychainReason::environment, directory,
              "Items are kept " + named(*place, directory) + ", because IDLEWYN_KEYCHAIN says so."};
    }
    return {std::nullopt, KeychainReason::unknownWord, directory,
            "IDLEWYN_KEYCHAIN is \"" + *settings.word +
                "\", which is neither secret-service nor file nor memory: no keychain is used."};
  }
  const auto reading = KeychainRecordFile(directory).read();
  if (!reading.isReadable) {
    return {std::nullopt, KeychainReason::unreadableRecord, directory,
            "The record of the keychain's place, " + (directory / "place").string() +
                ", can't be read: no keychain is used."};
  }
  if (!reading.record) {
    return {std::nullopt, KeychainReason::undecided, directory,
            "Nothing is kept yet: the first item decides between the Secret Service and a file."};
  }
  return {reading.record->place, KeychainReason::recorded, directory,
          "Items are kept " + named(reading.record->place, directory) +
              ", as it was decided on and recorded."};
}

std::optional<std::filesystem::path> damagedFileOf(const KeychainSettings& settings) {
  return usesFile(settings) ? damagedFileIn(settings.directory) : std::nullopt;
}

KeychainAside setDamagedAsideOf(const KeychainSettings& settings) {
  KeychainAside aside;
  if (!usesFile(settings)) return aside;
  const KeychainLock lock(settings.directory, KeychainLock::Kind::shared);
  if (lock.state() == KeychainLock::State::busy) {
    aside.status = KeychainStatus::notAvailable;
    return aside;
  }
  return usesFile(settings) ? setDamagedFileAside(settings.directory) : aside;
}

std::optional<std::filesystem::path> damagedKeychainFile() {
  return damagedFileOf(KeychainSettings::ofProcess());
}

KeychainAside setDamagedKeychainAside() { return setDamagedAsideOf(KeychainSettings::ofProcess()); }

KeychainLocation keychainLocation() { return whereIn(KeychainSettings::ofProcess()); }

std::shared_ptr<Keychain> Keychain::open(std::vector<std::string> accessGroups) {
  return makeSelectedKeychain(KeychainSettings::ofProcess(), std::move(accessGroups));
}

KeychainMove moveKeychain(KeychainPlace to) { return moveWith(KeychainSettings::ofProcess(), to); }

}  // namespace idlewyn::platform

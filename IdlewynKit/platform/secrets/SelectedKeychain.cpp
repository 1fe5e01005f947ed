// SPDX-License-Identifier: MIT
#include <array>

#include <IdlewynKit/platform/secrets/internal/AccessGroups.hpp>
#include <IdlewynKit/platform/secrets/internal/KeychainPlaces.hpp>
#include <IdlewynKit/platform/secrets/internal/KeychainRecord.hpp>

namespace idlewyn::platform {
namespace {

using Code = KeychainStatus::Code;
using Kind = KeychainLock::Kind;

class SelectedKeychain final : public Keychain {
 public:
  SelectedKeychain(KeychainSettings settings, std::vector<std::string> groups)
      : settings_(std::move(settings)), groups_(std::move(groups)), record_(settings_.directory) {
    for (std::size_t i = 0; i < keychains_.size(); ++i) {
      keychains_[i] = settings_.places->keychain(static_cast<KeychainPlace>(i), groups_);
    }
  }

  KeychainMatch copyMatching(const KeychainQuery& query) override {
    KeychainMatch match;
    if (!isGranted(groups_, query)) {
      match.status = KeychainStatus::missingEntitlement;
      return match;
    }
    for (int attempt = 0; attempt < 3; ++attempt) {
      const Choice choice = chosen();
      match = choice.place ? at(*choice.place).copyMatching(query) : KeychainMatch();
      if (!choice.place) match.status = choice.status;
      // A move may have emptied the place between the look at the record and the look there.
      if (match.status == KeychainStatus::success || chosen().place == choice.place) break;
    }
    return match;
  }

  Code add(const KeychainQuery& query, const KeychainAttributes& attributes) override {
    if (!isGranted(groups_, query)) return KeychainStatus::missingEntitlement;
    if (const Code status = decide(); status != KeychainStatus::success) return status;
    return change([&](Keychain& keychain) { return keychain.add(query, attributes); });
  }

  Code update(const KeychainQuery& query, const KeychainAttributes& attributes) override {
    if (!isGranted(groups_, query)) return KeychainStatus::missingEntitlement;
    return change([&](Keychain& keychain) { return keychain.update(query, attributes); });
  }

  Code remove(const KeychainQuery& query) override {
    if (!isGranted(groups_, query)) return KeychainStatus::missingEntitlement;
    return change([&](Keychain& keychain) { return keychain.remove(query); });
  }

 private:
  struct Choice {
    std::optional<KeychainPlace> place;
    /// What the verbs answer when there is no place.
    Code status;
  };

  Choice chosen() const {
    if (settings_.word) {
      const auto place = fromRawValue<KeychainPlace>(*settings_.word);
      const bool isHomeless = place == KeychainPlace::file && settings_.directory.empty();
      return {isHomeless ? std::nullopt : place, KeychainStatus::notAvailable};
    }
    const auto reading = record_.read();
    if (reading.record) return {reading.record->place, KeychainStatus::success};
    return {std::nullopt,
            reading.isReadable ? KeychainStatus::itemNotFound : KeychainStatus::notAvailable};
  }

  Keychain& at(KeychainPlace place) const { return *keychains_[static_cast<std::size_t>(place)]; }

  /// With a move locked out where there can be one.
  template <class Verb>
  Code change(Verb verb) const {
    if (settings_.word == rawValue(KeychainPlace::memory)) return verb(at(KeychainPlace::memory));
    const KeychainLock lock(settings_.directory, Kind::shared);
    if (lock.state() == KeychainLock::State::busy) return KeychainStatus::notAvailable;
    const Choice choice = chosen();
    return choice.place ? verb(at(*choice.place)) : choice.status;
  }

  /// Of two processes that come here at once, the second finds the record of the first.
  Code decide() const {
    if (settings_.word || chosen().status != KeychainStatus::itemNotFound) {
      return KeychainStatus::success;
    }
    const KeychainLock lock(settings_.directory, Kind::exclusive);
    if (lock.state() != KeychainLock::State::held) return KeychainStatus::notAvailable;
    if (chosen().status != KeychainStatus::itemNotFound) return KeychainStatus::success;
    const std::optional<KeychainPlace> place = preferredPlace();
    const bool isRecorded = place && record_.write({*place, std::nullopt});
    return isRecorded ? KeychainStatus::success : KeychainStatus::notAvailable;
  }

  /// A file that holds items, of which the record was lost, is not given up for another place; one
  /// that can't be looked into now may hold some, and waiting for the service too would take long.
  std::optional<KeychainPlace> preferredPlace() const {
    const auto file = settings_.places->keychain(KeychainPlace::file, {});
    const KeychainListing listing = file->all();
    if (listing.status == KeychainStatus::invalidKeychain || !listing.items.empty()) {
      return KeychainPlace::file;
    }
    if (listing.status != KeychainStatus::success) return std::nullopt;
    const Code status = settings_.places->reach(KeychainPlace::secretService);
    return status == KeychainStatus::success ? KeychainPlace::secretService : KeychainPlace::file;
  }

  const KeychainSettings settings_;
  const std::vector<std::string> groups_;
  const KeychainRecordFile record_;
  std::array<std::shared_ptr<ListedKeychain>, 3> keychains_;
};

}  // namespace

std::shared_ptr<Keychain> makeSelectedKeychain(KeychainSettings settings,
                                               std::vector<std::string> accessGroups) {
  return std::make_shared<SelectedKeychain>(std::move(settings), std::move(accessGroups));
}

}  // namespace idlewyn::platform

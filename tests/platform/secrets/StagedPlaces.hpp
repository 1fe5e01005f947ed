// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <functional>
#include <map>
#include <optional>

#include <IdlewynKit/platform/secrets/internal/KeychainPlaces.hpp>
#include <IdlewynKit/platform/secrets/internal/SecretItems.hpp>

/// Places whose items, times and failures a test decides on.
namespace idlewyn::testing {

/// Runs `before` at the beginning of each operation, which it may replace by a status.
class StagedItems final : public platform::SecretItems {
 public:
  using Code = platform::KeychainStatus::Code;
  using Before = std::function<Code()>;

  explicit StagedItems(std::shared_ptr<SecretItems> items) : items_(std::move(items)) {}

  platform::KeychainMatch read(const platform::ItemAddress& address) override {
    platform::KeychainMatch match;
    match.status = begin();
    return match.status == 0 ? items_->read(address) : match;
  }
  Code insert(const platform::ItemAddress& address,
              const platform::KeychainAttributes& attributes) override {
    const Code status = begin();
    return status == 0 && !isForgetful ? items_->insert(address, attributes) : status;
  }
  Code replace(const platform::ItemAddress& address,
               const platform::KeychainAttributes& attributes) override {
    const Code status = begin();
    return status == 0 ? items_->replace(address, attributes) : status;
  }
  Code erase(const platform::ItemAddress& address) override {
    const Code status = begin();
    return status == 0 ? items_->erase(address) : status;
  }
  platform::KeychainListing list() override {
    platform::KeychainListing listing;
    listing.status = begin();
    if (listing.status != 0) return listing;
    listing = items_->list();
    for (platform::KeychainItem& item : listing.items)
      if (isDated) item.modified = modified;
    return listing;
  }

  Before before = [] { return platform::KeychainStatus::success; };
  /// Says that it has kept new items, and has not.
  bool isForgetful = false;
  bool isDated = false;
  /// What every item is said to have been modified at, when `isDated`.
  std::optional<std::int64_t> modified;

 private:
  /// A copy, for it may put another in its own place.
  Code begin() const {
    const Before current = before;
    return current();
  }

  const std::shared_ptr<SecretItems> items_;
};

class StagedPlaces final : public platform::KeychainPlaces {
 public:
  using Place = platform::KeychainPlace;

  StagedPlaces(std::shared_ptr<platform::SecretItems> secretService,
               std::shared_ptr<platform::SecretItems> file)
      : secretService(std::make_shared<StagedItems>(std::move(secretService))),
        file(std::make_shared<StagedItems>(std::move(file))) {}

  std::shared_ptr<platform::ListedKeychain> keychain(Place place,
                                                     std::vector<std::string> groups) override {
    return platform::makeGroupedKeychain(place == Place::file ? file : secretService,
                                         std::move(groups));
  }
  platform::KeychainStatus::Code reach(Place place) override {
    return place == Place::file ? platform::KeychainStatus::success : reached;
  }

  const std::shared_ptr<StagedItems> secretService, file;
  platform::KeychainStatus::Code reached = platform::KeychainStatus::success;
};

}  // namespace idlewyn::testing

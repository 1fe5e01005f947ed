// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>

#include <IdlewynKit/platform/secrets/internal/FileKeychain.hpp>
#include <IdlewynKit/platform/secrets/internal/KeychainPlaces.hpp>
#include <IdlewynKit/platform/secrets/internal/MemoryKeychain.hpp>
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
    const Code status = begin();
    return status == 0 ? items_->read(address) : platform::KeychainMatch{status, {}};
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
    const Code status = begin();
    if (status != 0) return {status, {}};
    platform::KeychainListing listing = items_->list();
    for (platform::KeychainItem& item : listing.items)
      if (isDated_) item.modified = modified_;
    return listing;
  }

  void fail(Code status) {
    before = [status] { return status; };
  }
  void mend() { fail(platform::KeychainStatus::success); }
  /// As of then, whenever they were written.
  void date(std::optional<std::int64_t> time) {
    isDated_ = true;
    modified_ = time;
  }

  Before before = [] { return platform::KeychainStatus::success; };
  /// Says that it has kept new items, and has not.
  bool isForgetful = false;

 private:
  /// A copy, for it may put another in its own place.
  Code begin() const {
    const Before current = before;
    return current();
  }

  const std::shared_ptr<SecretItems> items_;
  bool isDated_ = false;
  std::optional<std::int64_t> modified_;
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

inline std::shared_ptr<StagedPlaces> placesInMemory() {
  return std::make_shared<StagedPlaces>(platform::makeMemoryItems(), platform::makeMemoryItems());
}
inline std::shared_ptr<StagedPlaces> placesInFiles(const std::filesystem::path& folder) {
  return std::make_shared<StagedPlaces>(platform::makeFileItems(folder / "a"),
                                        platform::makeFileItems(folder / "b"));
}

}  // namespace idlewyn::testing

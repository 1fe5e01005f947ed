// SPDX-License-Identifier: MIT
#include <pthread.h>

#include <map>
#include <mutex>

#include <IdlewynKit/platform/secrets/internal/MemoryKeychain.hpp>

namespace idlewyn::platform {
namespace {

class MemoryItems final : public SecretItems {
 public:
  KeychainMatch read(const ItemAddress& address) override {
    const std::lock_guard lock(mutex_);
    KeychainMatch match;
    const auto found = items_.find(address);
    if (found == items_.end()) return match;
    match.status = KeychainStatus::success;
    match.data = found->second.attributes.value;
    return match;
  }

  KeychainStatus::Code insert(const ItemAddress& address,
                              const KeychainAttributes& attributes) override {
    const std::lock_guard lock(mutex_);
    const bool isNew = items_.try_emplace(address, Item{attributes, secondsSince1970()}).second;
    return isNew ? KeychainStatus::success : KeychainStatus::duplicateItem;
  }

  KeychainStatus::Code replace(const ItemAddress& address,
                               const KeychainAttributes& attributes) override {
    const std::lock_guard lock(mutex_);
    const auto found = items_.find(address);
    if (found == items_.end()) return KeychainStatus::itemNotFound;
    found->second = Item{attributes, secondsSince1970()};
    return KeychainStatus::success;
  }

  KeychainStatus::Code erase(const ItemAddress& address) override {
    const std::lock_guard lock(mutex_);
    return items_.erase(address) != 0 ? KeychainStatus::success : KeychainStatus::itemNotFound;
  }

  KeychainListing list() override {
    const std::lock_guard lock(mutex_);
    KeychainListing listing;
    for (const auto& [address, item] : items_) {
      listing.items.emplace_back(address.service, address.account, address.accessGroup,
                                 item.attributes, item.modified);
    }
    return listing;
  }

  void prepareFork() { mutex_.lock(); }
  void endFork() { mutex_.unlock(); }

 private:
  struct Item {
    KeychainAttributes attributes;
    std::int64_t modified;
  };

  std::mutex mutex_;
  std::map<ItemAddress, Item> items_;
};

}  // namespace

std::shared_ptr<SecretItems> makeMemoryItems() { return std::make_shared<MemoryItems>(); }

std::shared_ptr<SecretItems> sharedMemoryItems() {
  // Another thread that holds the mutex while one forks doesn't live on in the child to release it.
  static const auto items = [] {
    static MemoryItems* const shared = new MemoryItems();
    pthread_atfork([] { shared->prepareFork(); }, [] { shared->endFork(); },
                   [] { shared->endFork(); });
    return new std::shared_ptr<SecretItems>(shared);
  }();
  return *items;
}

}  // namespace idlewyn::platform

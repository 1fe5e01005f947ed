// SPDX-License-Identifier: MIT
#include <dlfcn.h>

#include <algorithm>
#include <atomic>

#include <IdlewynKit/platform/base/internal/Program.hpp>
#include <IdlewynKit/platform/secrets/internal/SecretServiceKeychain.hpp>
#include <IdlewynKit/platform/secrets/internal/SecretServiceTable.hpp>

namespace idlewyn::platform {
namespace {

using secretservice::Table;

std::filesystem::path modulesFolder() {
  if (auto named = internal::environmentVariable("IDLEWYN_MODULES")) return *std::move(named);
  return internal::shippedFolder(internal::libraryFile(), "idlewynkit",
                                 IDLEWYNKIT_MODULES_FROM_LIBRARY);
}

const Table* loadTable() {
  const std::filesystem::path file = modulesFolder() / "idlewynkit-secretservice.so";
  if (!file.is_absolute()) return nullptr;
  // GLib can't be taken out of a process again.
  void* module = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (!module) return nullptr;
  const auto entry =
      reinterpret_cast<secretservice::Entry>(dlsym(module, secretservice::entrySymbol));
  const Table* table = entry ? entry() : nullptr;
  return table && table->version == Table::currentVersion ? table : nullptr;
}

/// A module that isn't there is looked for again, a loaded one stays.
const Table* table() {
  static std::atomic<const Table*> loaded;
  if (const Table* known = loaded.load()) return known;
  const Table* found = loadTable();
  loaded.store(found);
  return found;
}

secretservice::Address borrowed(const ItemAddress& address) {
  return {address.service, address.account, address.accessGroup};
}

secretservice::Item borrowed(const ItemAddress& address, const KeychainAttributes& attributes) {
  return {borrowed(address), attributes.value.text(),
          attributes.accessible == KeychainAccessibility::whenUnlocked, 0};
}

KeychainItem owned(const secretservice::Item& item) {
  const auto accessible = item.isForWhenUnlocked ? KeychainAccessibility::whenUnlocked
                                                 : KeychainAccessibility::afterFirstUnlock;
  return {std::string(item.address.service), std::string(item.address.account),
          std::string(item.address.accessGroup),
          KeychainAttributes(Data::ofText(std::string(item.value)), accessible), item.modified};
}

void takeValue(void* context, const secretservice::Item& item) noexcept {
  static_cast<KeychainMatch*>(context)->data = Data::ofText(std::string(item.value));
}

/// Others can put two items under one address, and a listing may be begun anew: the newest counts.
void takeItem(void* context, const secretservice::Item& item) noexcept {
  auto& items = static_cast<KeychainListing*>(context)->items;
  const auto same = std::find_if(items.begin(), items.end(), [&](const KeychainItem& other) {
    return other.service == item.address.service && other.account == item.address.account &&
           other.accessGroup == item.address.accessGroup;
  });
  if (same == items.end()) {
    items.push_back(owned(item));
  } else if (same->modified <= item.modified) {
    *same = owned(item);
  }
}

class SecretServiceItems final : public SecretItems {
 public:
  KeychainMatch read(const ItemAddress& address) override {
    KeychainMatch match;
    const Table* module = table();
    match.status =
        module ? module->read(borrowed(address), takeValue, &match) : KeychainStatus::notAvailable;
    return match;
  }

  KeychainStatus::Code insert(const ItemAddress& address,
                              const KeychainAttributes& attributes) override {
    const Table* module = table();
    return module ? module->insert(borrowed(address, attributes)) : KeychainStatus::notAvailable;
  }

  KeychainStatus::Code replace(const ItemAddress& address,
                               const KeychainAttributes& attributes) override {
    const Table* module = table();
    return module ? module->replace(borrowed(address, attributes)) : KeychainStatus::notAvailable;
  }

  KeychainStatus::Code erase(const ItemAddress& address) override {
    const Table* module = table();
    return module ? module->erase(borrowed(address)) : KeychainStatus::notAvailable;
  }

  KeychainListing list() override {
    KeychainListing listing;
    const Table* module = table();
    listing.status = module ? module->list(takeItem, &listing) : KeychainStatus::notAvailable;
    return listing;
  }
};

}  // namespace

std::shared_ptr<SecretItems> sharedSecretServiceItems() {
  static const auto& items =
      *new std::shared_ptr<SecretItems>(std::make_shared<SecretServiceItems>());
  return items;
}

KeychainStatus::Code reachSecretService() {
  const Table* module = table();
  return module ? module->reach() : KeychainStatus::notAvailable;
}

}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#include <IdlewynKit/storage/KeychainStore.hpp>

#include <IdlewynKit/storage/internal/KeychainItems.hpp>
#include <IdlewynKit/storage/internal/ProcessKeychain.hpp>

namespace idlewyn {

KeychainStore::KeychainStore(std::string itemService, std::optional<std::string> group)
    : service(std::move(itemService)), accessGroup(std::move(group)) {}

std::optional<Data> KeychainStore::data(std::string_view key) const {
  return internal::readItem(internal::processKeychain(), *this, key);
}

void KeychainStore::set(const Data& value, std::string_view key) const {
  internal::writeItem(internal::processKeychain(), *this, value, key);
}

void KeychainStore::removeValue(std::string_view key) const {
  internal::removeItem(internal::processKeychain(), *this, key);
}

}  // namespace idlewyn

// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string_view>

#include <IdlewynKit/platform/secrets/Keychain.hpp>
#include <IdlewynKit/storage/KeychainStore.hpp>

/// The operations of a KeychainStore on a given keychain. Each call of a verb that names an
/// access group is repeated once without it when the group is not granted.
namespace idlewyn::internal {

std::optional<platform::Data> readItem(platform::Keychain& keychain, const KeychainStore& store,
                                       std::string_view key);
void writeItem(platform::Keychain& keychain, const KeychainStore& store,
               const platform::Data& value, std::string_view key);
void removeItem(platform::Keychain& keychain, const KeychainStore& store, std::string_view key);

}  // namespace idlewyn::internal

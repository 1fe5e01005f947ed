// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/base/Data.hpp>
#include <IdlewynKit/platform/base/Hashing.hpp>
#include <IdlewynKit/platform/base/Record.hpp>
#include <IdlewynKit/storage/KeychainError.hpp>

/// Small secrets by key, in the keychain of this process (see `platform::Keychain`).
///
///     KeychainStore store("org.example.app.tokens");
///     store.set(Data::ofText(token), "alice");
///     std::optional<Data> bytes = store.data("alice");
///     store.removeValue("alice");
namespace idlewyn {

using platform::Data;

/// A value without state of its own: equal stores see the same items. May be used from any
/// thread; the keychain alone orders concurrent operations. Each blocks until the keychain has
/// answered. In a forked child of a process that has used the Secret Service that keychain is not
/// available (`KeychainStatus::notAvailable`) until the child starts another program.
///
/// The access groups that the process may use are the array of texts "KeychainAccessGroups" in
/// `platform::Bundle::main()`; without such an entry it is `AppGroup::identifier`, and an entry
/// of another form grants none. In a group that isn't granted every operation behaves as if
/// `accessGroup` were absent.
struct KeychainStore {
  IDLEWYNKIT_EXPORT explicit KeychainStore(std::string service,
                                           std::optional<std::string> accessGroup = std::nullopt);

  friend bool operator==(const KeychainStore&, const KeychainStore&) = default;

  using IdlewynRecord = KeychainStore;
  static constexpr auto fields() {
    return std::tuple{platform::field("service", &KeychainStore::service),
                      platform::field("accessGroup", &KeychainStore::accessGroup)};
  }

  /// Absent when there is no such item, or one that holds something else than bytes. Throws
  /// KeychainError.
  IDLEWYNKIT_EXPORT std::optional<Data> data(std::string_view key) const;
  /// Rewrites the item, or adds one that can be read once the device has been unlocked. Not
  /// atomic: fails when another writer adds the item in between. Throws KeychainError.
  IDLEWYNKIT_EXPORT void set(const Data& value, std::string_view key) const;
  /// A missing item is no error. Throws KeychainError.
  IDLEWYNKIT_EXPORT void removeValue(std::string_view key) const;

  std::string service;
  /// Shared by the processes of a product; absent means that none is asked for.
  std::optional<std::string> accessGroup;
};

}  // namespace idlewyn

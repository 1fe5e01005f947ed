// SPDX-License-Identifier: MIT
#pragma once

#include <tuple>
#include <vector>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/relay/Connection.hpp>
#include <IdlewynKit/storage/KeychainStore.hpp>

/// The paired connections, tokens included, as one item of the keychain.
///
///     const ConnectionStore& store = ConnectionStore::shared();
///     store.keychain.data("connections");  // throws where `load` would give an empty list
///     std::vector<Connection> connections = store.load();
///     connections.push_back(paired);
///     store.save(connections);
namespace idlewyn {

/// A value without state of its own. Reads and replaces the whole list at once; never merges,
/// sorts or removes duplicates. Any thread; of concurrent saves the last one stays.
struct ConnectionStore {
  IDLEWYNKIT_EXPORT explicit ConnectionStore(KeychainStore keychain);

  /// The list that all processes of the product share: service "app.vantor.idlewyn.connections",
  /// access group `AppGroup::identifier`.
  IDLEWYNKIT_EXPORT static const ConnectionStore& shared();

  friend bool operator==(const ConnectionStore&, const ConnectionStore&) = default;

  using IdlewynRecord = ConnectionStore;
  static constexpr auto fields() {
    return std::tuple{platform::field("keychain", &ConnectionStore::keychain)};
  }

  /// The list in the order saved. Empty when there is none, and also when the keychain can't be
  /// read or holds something else: who changes the list and saves it asks `keychain` first.
  IDLEWYNKIT_EXPORT std::vector<Connection> load() const;
  /// Replaces the list; an empty one removes the item. Throws EncodingError, and then nothing
  /// was written, or KeychainError.
  IDLEWYNKIT_EXPORT void save(const std::vector<Connection>& connections) const;

  /// Where the item is, under the key "connections".
  KeychainStore keychain;
};

}  // namespace idlewyn

// SPDX-License-Identifier: MIT
#include <IdlewynKit/storage/ConnectionStore.hpp>

#include <IdlewynKit/storage/AppGroup.hpp>
#include <IdlewynKit/storage/internal/ConnectionItem.hpp>
#include <IdlewynKit/storage/internal/ProcessKeychain.hpp>

namespace idlewyn {

ConnectionStore::ConnectionStore(KeychainStore store) : keychain(std::move(store)) {}

const ConnectionStore& ConnectionStore::shared() {
  static const ConnectionStore& store = *new ConnectionStore(
      KeychainStore("app.vantor.idlewyn.connections", std::string(AppGroup::identifier)));
  return store;
}

std::vector<Connection> ConnectionStore::load() const {
  return internal::loadConnections(internal::processKeychain(), keychain);
}

void ConnectionStore::save(const std::vector<Connection>& connections) const {
  internal::saveConnections(internal::processKeychain(), keychain, connections);
}

}  // namespace idlewyn

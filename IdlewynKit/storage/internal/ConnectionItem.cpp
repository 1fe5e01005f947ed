// SPDX-License-Identifier: MIT
#include <IdlewynKit/storage/internal/ConnectionItem.hpp>

#include <IdlewynKit/platform/coding/JSONDecoder.hpp>
#include <IdlewynKit/platform/coding/JSONEncoder.hpp>
#include <IdlewynKit/storage/internal/KeychainItems.hpp>

namespace idlewyn::internal {

namespace {
constexpr std::string_view account = "connections";
}

std::vector<Connection> loadConnections(platform::Keychain& keychain, const KeychainStore& store) {
  std::vector<Connection> connections;
  try {
    const auto item = readItem(keychain, store, account);
    if (item) connections = platform::PlainJSONDecoder().decode<std::vector<Connection>>(*item);
  } catch (const KeychainError&) {
  } catch (const platform::DecodingError&) {
  }
  return connections;
}

void saveConnections(platform::Keychain& keychain, const KeychainStore& store,
                     const std::vector<Connection>& connections) {
  if (connections.empty()) return removeItem(keychain, store, account);
  writeItem(keychain, store, platform::PlainJSONEncoder().encode(connections), account);
}

}  // namespace idlewyn::internal

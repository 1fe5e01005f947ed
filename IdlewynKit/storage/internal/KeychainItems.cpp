// SPDX-License-Identifier: MIT
#include <IdlewynKit/storage/internal/KeychainItems.hpp>

namespace idlewyn::internal {

namespace {

using platform::Keychain;
using platform::KeychainAttributes;
using platform::KeychainMatch;
using platform::KeychainQuery;
using platform::KeychainStatus;

KeychainStatus::Code statusOf(KeychainStatus::Code status) { return status; }
KeychainStatus::Code statusOf(const KeychainMatch& match) { return match.status; }

// The verb's answer to the query in the store's group or, where the process may not use that,
// without one.
template <class Verb>
auto withGroupFallback(const KeychainStore& store, std::string_view key, Verb verb) {
  KeychainQuery query(store.service, std::string(key), store.accessGroup);
  auto answer = verb(query);
  if (query.accessGroup && statusOf(answer) == KeychainStatus::missingEntitlement) {
    query.accessGroup.reset();
    answer = verb(query);
  }
  return answer;
}

void expectSuccess(KeychainStatus::Code status) {
  if (status != KeychainStatus::success) throw KeychainError(status);
}

}  // namespace

std::optional<platform::Data> readItem(Keychain& keychain, const KeychainStore& store,
                                       std::string_view key) {
  auto match = withGroupFallback(
      store, key, [&](const KeychainQuery& query) { return keychain.copyMatching(query); });
  if (match.status == KeychainStatus::itemNotFound) return std::nullopt;
  expectSuccess(match.status);
  return std::move(match.data);
}

void writeItem(Keychain& keychain, const KeychainStore& store, const platform::Data& value,
               std::string_view key) {
  const KeychainAttributes attributes(value, platform::KeychainAccessibility::afterFirstUnlock);
  const auto updated = withGroupFallback(
      store, key, [&](const KeychainQuery& query) { return keychain.update(query, attributes); });
  if (updated != KeychainStatus::itemNotFound) return expectSuccess(updated);
  expectSuccess(withGroupFallback(
      store, key, [&](const KeychainQuery& query) { return keychain.add(query, attributes); }));
}

void removeItem(Keychain& keychain, const KeychainStore& store, std::string_view key) {
  const auto removed = withGroupFallback(
      store, key, [&](const KeychainQuery& query) { return keychain.remove(query); });
  if (removed != KeychainStatus::itemNotFound) expectSuccess(removed);
}

}  // namespace idlewyn::internal

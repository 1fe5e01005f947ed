// SPDX-License-Identifier: MIT
// The back ends that keep the contract.
#include <IdlewynKit/platform/secrets/internal/FileKeychain.hpp>
#include <IdlewynKit/platform/secrets/internal/MemoryKeychain.hpp>
#include <IdlewynKit/platform/secrets/internal/SecretServiceKeychain.hpp>

#include "KeychainContract.hpp"
#include "KeyringSession.hpp"

namespace idlewyn::testing {
namespace {

using namespace platform;
using Groups = KeychainBackEnd::Groups;

KeychainBackEnd::Place memoryPlace() {
  return [items = makeMemoryItems()](Groups groups) {
    return makeGroupedKeychain(items, std::move(groups));
  };
}

KeychainBackEnd::Place filePlace() {
  return [folder = std::make_shared<TemporaryFolder>()](Groups groups) {
    return makeFileKeychain(folder->path() / "keychain", std::move(groups));
  };
}

/// One keyring for all cases, emptied for each.
KeychainBackEnd::Place secretServicePlace() {
  KeyringSession::shared().enter();
  const auto items = sharedSecretServiceItems();
  for (const KeychainItem& item : items->list().items)
    items->erase({item.service, item.account, item.accessGroup});
  return [items](Groups groups) { return makeGroupedKeychain(items, std::move(groups)); };
}

INSTANTIATE_TEST_SUITE_P(BackEnds, KeychainContract,
                         ::testing::Values(KeychainBackEnd("Memory", memoryPlace),
                                           KeychainBackEnd("File", filePlace),
                                           KeychainBackEnd("SecretService", secretServicePlace)),
                         [](const auto& instance) { return instance.param.name; });

}  // namespace
}  // namespace idlewyn::testing

// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <IdlewynKit/platform/secrets/internal/ListedKeychain.hpp>

/// Items by their exact address, and the keychain that adds what access groups mean.
namespace idlewyn::platform {

/// Empty access group: the private group.
struct ItemAddress {
  ItemAddress(std::string service, std::string account, std::string accessGroup)
      : service(std::move(service)),
        account(std::move(account)),
        accessGroup(std::move(accessGroup)) {}

  std::string service;
  std::string account;
  std::string accessGroup;

  friend auto operator<=>(const ItemAddress&, const ItemAddress&) = default;
};

/// May be used from any thread; nothing is thrown.
class SecretItems {
 public:
  virtual ~SecretItems() = default;

  virtual KeychainMatch read(const ItemAddress& address) = 0;
  /// `duplicateItem` when there is one.
  virtual KeychainStatus::Code insert(const ItemAddress& address,
                                      const KeychainAttributes& attributes) = 0;
  /// `itemNotFound` when there is none.
  virtual KeychainStatus::Code replace(const ItemAddress& address,
                                       const KeychainAttributes& attributes) = 0;
  virtual KeychainStatus::Code erase(const ItemAddress& address) = 0;
  virtual KeychainListing list() = 0;
};

/// The groups are granted as they stand; the private one by its empty name only when it is listed,
/// as a move does that addresses its items.
std::unique_ptr<ListedKeychain> makeGroupedKeychain(std::shared_ptr<SecretItems> items,
                                                    std::vector<std::string> accessGroups);

}  // namespace idlewyn::platform

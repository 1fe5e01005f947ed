// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <IdlewynKit/platform/secrets/Keychain.hpp>

/// What moving needs of a keychain beyond its verbs: every item that it holds.
namespace idlewyn::platform {

/// Now, as items are dated.
inline std::int64_t secondsSince1970() {
  using namespace std::chrono;
  return duration_cast<seconds>(system_clock::now().time_since_epoch()).count();
}

struct KeychainItem {
  KeychainItem(std::string service, std::string account, std::string accessGroup,
               std::optional<KeychainAttributes> attributes, std::optional<std::int64_t> modified)
      : service(std::move(service)),
        account(std::move(account)),
        accessGroup(std::move(accessGroup)),
        attributes(std::move(attributes)),
        modified(modified) {}

  std::string service;
  std::string account;
  /// Empty for the private group.
  std::string accessGroup;
  /// Absent when what is stored there is no sequence of bytes.
  std::optional<KeychainAttributes> attributes;
  /// Whole seconds since 1970, where the place keeps them.
  std::optional<std::int64_t> modified;
};

struct KeychainListing {
  KeychainStatus::Code status = KeychainStatus::success;
  std::vector<KeychainItem> items;
};

/// Every back end is one.
class ListedKeychain : public Keychain {
 public:
  /// Items of every access group, granted or not. All of them or a status: an item that can't be
  /// read (a locked one, say) makes the whole listing fail.
  virtual KeychainListing all() = 0;
};

}  // namespace idlewyn::platform

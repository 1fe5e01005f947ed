// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/base/Data.hpp>

/// Generic passwords: small secrets by service, account and access group.
///
///     std::shared_ptr<Keychain> keychain = Keychain::open({"group.org.example"});
///     KeychainMatch match = keychain->copyMatching({"org.example.app", "token", std::nullopt});
///     if (match.status == KeychainStatus::success) use(match.data);
namespace idlewyn::platform {

/// What the four verbs answer; the numbers are the ones that stored errors carry. Other codes may
/// occur: treat any but `success` and `itemNotFound` as a failure.
struct KeychainStatus {
  using Code = std::int32_t;
  static constexpr Code success = 0;
  static constexpr Code itemNotFound = -25300;
  static constexpr Code duplicateItem = -25299;
  /// No keychain can be reached, or not the one that keeps this user's items.
  static constexpr Code notAvailable = -25291;
  /// The keychain is locked, and nobody was asked to unlock it.
  static constexpr Code interactionNotAllowed = -25308;
  /// The process may not use that access group.
  static constexpr Code missingEntitlement = -34018;
  /// The Secret Service has no collection that new items go into.
  static constexpr Code noDefaultKeychain = -25307;
  /// Text that the place can't keep (the Secret Service wants UTF-8), or a move that can't be.
  static constexpr Code badParameter = -50;
  /// What is stored there is damaged.
  static constexpr Code invalidKeychain = -25295;
  static constexpr Code writePermission = -61;
  static constexpr Code diskFull = -34;
  /// The place was reached, and failed.
  static constexpr Code ioError = -36;

  /// A sentence for the codes that are known, nothing for others.
  IDLEWYNKIT_EXPORT static std::optional<std::string> message(Code status);
};

/// When an item may be read. An attribute that is kept with the item.
enum class KeychainAccessibility : std::uint8_t { whenUnlocked, afterFirstUnlock };

/// Addresses items of the class "generic password". With an access group that was not granted,
/// every verb answers `missingEntitlement`. Without one, the verbs act on items in any granted
/// group and in the private group; reading takes the first that it finds in that order. A new item
/// then always goes into the private group, so that it is not found through a granted one. The
/// private group has no name to ask for: an empty one counts as not granted unless it is listed.
struct KeychainQuery {
  KeychainQuery(std::string service, std::string account, std::optional<std::string> accessGroup)
      : service(std::move(service)),
        account(std::move(account)),
        accessGroup(std::move(accessGroup)) {}

  std::string service;
  std::string account;
  std::optional<std::string> accessGroup;
};

struct KeychainAttributes {
  KeychainAttributes(Data value, KeychainAccessibility accessible)
      : value(std::move(value)), accessible(accessible) {}

  Data value;
  KeychainAccessibility accessible;
};

struct KeychainMatch {
  KeychainStatus::Code status = KeychainStatus::itemNotFound;
  /// Present with `success`, unless what is stored there is no sequence of bytes.
  std::optional<Data> data;
};

/// The four verbs over one place where secrets are kept. May be called from any thread; each call
/// blocks until the place has answered, never for more than a few seconds. Nothing is thrown.
class IDLEWYNKIT_EXPORT Keychain {
 public:
  /// The keychain of this process: the one that IDLEWYN_KEYCHAIN names (`secret-service`, `file`
  /// or `memory`), else the one that was decided on at the first write and recorded since; see
  /// KeychainPlace.hpp. Cheap; each verb looks at the record anew, so a move by another process
  /// takes effect at once.
  static std::shared_ptr<Keychain> open(std::vector<std::string> accessGroups);

  virtual ~Keychain() = default;

  virtual KeychainMatch copyMatching(const KeychainQuery& query) = 0;
  /// `duplicateItem` when there is one in that group already.
  virtual KeychainStatus::Code add(const KeychainQuery& query,
                                   const KeychainAttributes& attributes) = 0;
  /// Rewrites the value and the accessibility of what the query finds.
  virtual KeychainStatus::Code update(const KeychainQuery& query,
                                      const KeychainAttributes& attributes) = 0;
  virtual KeychainStatus::Code remove(const KeychainQuery& query) = 0;
};

}  // namespace idlewyn::platform

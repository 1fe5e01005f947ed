// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/secrets/internal/AccessGroups.hpp>
#include <IdlewynKit/platform/secrets/internal/SecretItems.hpp>

namespace idlewyn::platform {
namespace {

class GroupedKeychain final : public ListedKeychain {
 public:
  GroupedKeychain(std::shared_ptr<SecretItems> items, std::vector<std::string> groups)
      : items_(std::move(items)), groups_(std::move(groups)) {}

  KeychainMatch copyMatching(const KeychainQuery& query) override {
    KeychainMatch match;
    if (!isGranted(groups_, query)) {
      match.status = KeychainStatus::missingEntitlement;
      return match;
    }
    for (const std::string& group : searchedGroups(groups_, query)) {
      match = items_->read({query.service, query.account, group});
      if (match.status != KeychainStatus::itemNotFound) break;
    }
    return match;
  }

  KeychainStatus::Code add(const KeychainQuery& query,
                           const KeychainAttributes& attributes) override {
    if (!isGranted(groups_, query)) return KeychainStatus::missingEntitlement;
    return items_->insert({query.service, query.account, groupOfNewItem(query)}, attributes);
  }

  KeychainStatus::Code update(const KeychainQuery& query,
                              const KeychainAttributes& attributes) override {
    return forEachGroup(
        query, [&](const ItemAddress& address) { return items_->replace(address, attributes); });
  }

  KeychainStatus::Code remove(const KeychainQuery& query) override {
    return forEachGroup(query, [&](const ItemAddress& address) { return items_->erase(address); });
  }

  KeychainListing all() override { return items_->list(); }

 private:
  /// Success when there was one anywhere. Stops at the first failure.
  template <class Verb>
  KeychainStatus::Code forEachGroup(const KeychainQuery& query, Verb verb) const {
    if (!isGranted(groups_, query)) return KeychainStatus::missingEntitlement;
    KeychainStatus::Code outcome = KeychainStatus::itemNotFound;
    for (const std::string& group : searchedGroups(groups_, query)) {
      const KeychainStatus::Code status = verb({query.service, query.account, group});
      if (status == KeychainStatus::success) outcome = status;
      if (status != KeychainStatus::success && status != KeychainStatus::itemNotFound) {
        return status;
      }
    }
    return outcome;
  }

  const std::shared_ptr<SecretItems> items_;
  const std::vector<std::string> groups_;
};

}  // namespace

std::unique_ptr<ListedKeychain> makeGroupedKeychain(std::shared_ptr<SecretItems> items,
                                                    std::vector<std::string> accessGroups) {
  return std::make_unique<GroupedKeychain>(std::move(items), std::move(accessGroups));
}

}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include <IdlewynKit/platform/secrets/Keychain.hpp>

/// What a query's access group, or its absence, means for a process with these groups.
namespace idlewyn::platform {

inline bool isGranted(const std::vector<std::string>& groups, const KeychainQuery& query) {
  return !query.accessGroup || query.accessGroup->empty() ||
         std::find(groups.begin(), groups.end(), *query.accessGroup) != groups.end();
}

/// The groups to look in, in order: the private one last.
inline std::vector<std::string> searchedGroups(std::vector<std::string> groups,
                                               const KeychainQuery& query) {
  if (query.accessGroup) return {*query.accessGroup};
  groups.emplace_back();
  return groups;
}

inline std::string groupOfNewItem(const std::vector<std::string>& groups,
                                  const KeychainQuery& query) {
  if (query.accessGroup) return *query.accessGroup;
  return groups.empty() ? std::string() : groups.front();
}

}  // namespace idlewyn::platform

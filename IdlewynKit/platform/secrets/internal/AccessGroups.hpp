// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include <IdlewynKit/platform/secrets/Keychain.hpp>

/// What a query's access group, or its absence, means for a process with these groups.
namespace idlewyn::platform {

inline bool isGranted(const std::vector<std::string>& groups, const KeychainQuery& query) {
  return !query.accessGroup ||
         std::find(groups.begin(), groups.end(), *query.accessGroup) != groups.end();
}

/// The groups to look in, in order: the private one last.
inline std::vector<std::string> searchedGroups(std::vector<std::string> groups,
                                               const KeychainQuery& query) {
  if (query.accessGroup) return {*query.accessGroup};
  std::erase(groups, std::string());
  groups.emplace_back();
  return groups;
}

/// Only what is meant for a group is seen by its other processes.
inline std::string groupOfNewItem(const KeychainQuery& query) {
  return query.accessGroup.value_or(std::string());
}

}  // namespace idlewyn::platform

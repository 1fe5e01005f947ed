// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include <IdlewynKit/platform/bundle/Bundle.hpp>
#include <IdlewynKit/platform/secrets/Keychain.hpp>

namespace idlewyn::internal {

/// The access groups that an application's information dictionary grants: the array of texts
/// "KeychainAccessGroups", the application group where there is no such entry. An entry that is
/// not understood grants nothing.
std::vector<std::string> grantedAccessGroups(const platform::Bundle& application);

/// The keychain of this process, with the groups of its main bundle; made at the first call.
platform::Keychain& processKeychain();

}  // namespace idlewyn::internal

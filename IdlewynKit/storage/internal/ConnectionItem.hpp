// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include <IdlewynKit/platform/secrets/Keychain.hpp>
#include <IdlewynKit/relay/Connection.hpp>
#include <IdlewynKit/storage/KeychainStore.hpp>

/// The operations of a ConnectionStore on a given keychain.
namespace idlewyn::internal {

std::vector<Connection> loadConnections(platform::Keychain& keychain, const KeychainStore& store);
void saveConnections(platform::Keychain& keychain, const KeychainStore& store,
                     const std::vector<Connection>& connections);

}  // namespace idlewyn::internal

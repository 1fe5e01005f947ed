// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <IdlewynKit/platform/secrets/KeychainPlace.hpp>
#include <IdlewynKit/platform/secrets/internal/SecretItems.hpp>

namespace idlewyn::platform {

/// Items in "keychain.sqlite3" of that directory; both are made, for this user alone, by the
/// first item. Items of one directory share their connection.
///
/// What is answered beside the common codes: `notAvailable` when the file can't be opened, is
/// open to other users, or stays locked by another process for two seconds; `writePermission`,
/// `diskFull`; `invalidKeychain` for a damaged file that was read (a change sets such a file
/// aside, deletes nothing and begins a new one); `ioError` for the rest.
std::shared_ptr<SecretItems> makeFileItems(const std::filesystem::path& directory);

/// The path of the file when it is damaged: no database, corrupt, or a database of another kind.
std::optional<std::filesystem::path> damagedFileIn(const std::filesystem::path& directory);
/// As `setDamagedKeychainAside` of KeychainPlace.hpp.
KeychainAside setDamagedFileAside(const std::filesystem::path& directory);

std::unique_ptr<ListedKeychain> makeFileKeychain(const std::filesystem::path& directory,
                                                 std::vector<std::string> accessGroups);

}  // namespace idlewyn::platform

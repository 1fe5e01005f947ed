// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/secrets/Keychain.hpp>

namespace idlewyn::platform {

std::optional<std::string> KeychainStatus::message(Code status) {
  switch (status) {
    case success: return "No error.";
    case itemNotFound: return "There is no such item in the keychain.";
    case duplicateItem: return "The keychain holds such an item already.";
    case notAvailable: return "The keychain can't be reached.";
    case interactionNotAllowed: return "The keychain is locked. Unlock it, then try again.";
    case missingEntitlement: return "This program may not use that access group.";
    case noDefaultKeychain: return "The Secret Service has no default collection.";
    case badParameter: return "The keychain can't do that.";
    case invalidKeychain: return "The keychain's file is damaged.";
    case writePermission: return "The keychain can't be written to.";
    case diskFull: return "There is no space left to write to the keychain.";
    case ioError: return "The keychain could not be read or written.";
    default: return std::nullopt;
  }
}

}  // namespace idlewyn::platform

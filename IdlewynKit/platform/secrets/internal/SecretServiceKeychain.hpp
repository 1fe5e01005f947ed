// SPDX-License-Identifier: MIT
#pragma once

#include <IdlewynKit/platform/secrets/internal/SecretItems.hpp>

/// The Secret Service of the desktop session, through a module that is loaded at the first use:
/// programs that never reach for it load no D-Bus library.
namespace idlewyn::platform {

/// Without the module every operation answers `notAvailable`.
std::shared_ptr<SecretItems> sharedSecretServiceItems();

/// Whether new items could be kept there: `success`, `notAvailable` or `noDefaultKeychain`. Takes
/// a second at most. An answer "not available" stands for five seconds, so that a bus without a
/// keyring does not cost a second a call.
KeychainStatus::Code reachSecretService();

}  // namespace idlewyn::platform

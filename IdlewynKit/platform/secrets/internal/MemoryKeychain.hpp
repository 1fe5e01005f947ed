// SPDX-License-Identifier: MIT
#pragma once

#include <IdlewynKit/platform/secrets/internal/SecretItems.hpp>

/// Items that live as long as their owner, for tests and previews.
namespace idlewyn::platform {

std::shared_ptr<SecretItems> makeMemoryItems();
/// The ones that every keychain in memory of this process shares.
std::shared_ptr<SecretItems> sharedMemoryItems();

}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>

namespace idlewyn::platform::internal {

/// Where that file's "IdlewynKitResources.bundle" is: beside it, else where it is installed.
std::filesystem::path resourceFolder(const std::filesystem::path& libraryFile);

}  // namespace idlewyn::platform::internal

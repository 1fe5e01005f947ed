// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/bundle/internal/Places.hpp>

#include <IdlewynKit/platform/base/internal/Program.hpp>

namespace idlewyn::platform::internal {

std::filesystem::path resourceFolder(const std::filesystem::path& libraryFile) {
  return shippedFolder(libraryFile, "IdlewynKitResources.bundle",
                       IDLEWYNKIT_RESOURCES_FROM_LIBRARY);
}

}  // namespace idlewyn::platform::internal

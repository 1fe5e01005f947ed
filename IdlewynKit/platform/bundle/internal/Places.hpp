// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace idlewyn::platform::internal {

/// The environment variable as a path, unless it is empty or the process has more rights than
/// its user.
std::optional<std::filesystem::path> pathFromEnvironment(const char* name);

/// The program that runs.
std::filesystem::path executableFile();

/// The shared library that this code is in, or the program that it is linked into.
std::filesystem::path libraryFile();

/// Where that file's "IdlewynKitResources.bundle" is: beside it, else where it is installed.
std::filesystem::path resourceFolder(const std::filesystem::path& libraryFile);

/// The contents of a regular file of at most 16 MiB. Devices and pipes are left alone: reading
/// them might never end.
std::optional<std::string> contentsOf(const std::filesystem::path& file);

}  // namespace idlewyn::platform::internal

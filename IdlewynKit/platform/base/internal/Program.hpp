// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

/// The program that runs: its environment, its file, what is shipped with it.
namespace idlewyn::platform::internal {

/// The environment variable, unless it is empty or the process has more rights than its user.
std::optional<std::string> environmentVariable(const char* name);

/// The program that runs, by the name that it had at the start.
std::filesystem::path executableFile();

/// The shared library that this code is in, or the program that it is linked into.
std::filesystem::path libraryFile();

/// The folder of that name which is shipped with a library: beside it, else where it is
/// installed, as a path from the library's own folder.
std::filesystem::path shippedFolder(const std::filesystem::path& libraryFile, std::string_view name,
                                    std::string_view installed);

}  // namespace idlewyn::platform::internal

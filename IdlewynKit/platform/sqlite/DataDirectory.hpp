// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <optional>

namespace idlewyn::platform {

/// Where the user's stores lie: what the environment variable IDLEWYN_DATA_DIR names, else
/// "idlewyn" below XDG_DATA_HOME, else below ".local/share" of HOME, else of the home directory
/// in the user database. Paths in the environment that aren't absolute are passed over, and all of
/// them in a process with more rights than its user. Nothing when there is no home at all. Read at
/// every call; nothing is created.
std::optional<std::filesystem::path> dataDirectory();

}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <optional>

namespace idlewyn::command {

/// The dashboard's program: beside this one, or on the PATH. Nothing where it is not installed.
std::optional<std::filesystem::path> installedDashboard();

/// Starts it in a session of its own, which goes on when this program ends.
void openDashboard(const std::filesystem::path& program);

}  // namespace idlewyn::command

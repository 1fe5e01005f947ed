// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <string_view>

namespace idlewyn::platform::internal {

/// Puts the bytes where `file` says. A regular file, also behind a symbolic link, is replaced
/// as a whole or not at all, and keeps its mode; into anything else the bytes are written. Throws
/// PaintError.
void writePicture(const std::filesystem::path& file, std::string_view bytes);

}  // namespace idlewyn::platform::internal

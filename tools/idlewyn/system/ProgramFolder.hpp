// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>

namespace idlewyn::command {

/// Where this program's file lies, built or installed; what belongs to it lies relative to it.
inline std::filesystem::path programFolder() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
}

}  // namespace idlewyn::command

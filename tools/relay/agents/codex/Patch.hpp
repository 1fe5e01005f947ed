// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The patches that Codex applies ("*** Begin Patch", then files, then "*** End Patch").
namespace idlewyn::relay::codex {

/// The files that a patch adds, updates, deletes or moves to, in its order.
std::vector<std::string> patchedFiles(std::string_view patch);

/// What people decide on: the names of the files, then the whole patch. Empty for a text in
/// which no file is named.
std::string patchDetail(std::string_view patch);

}  // namespace idlewyn::relay::codex

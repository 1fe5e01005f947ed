// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace idlewyn::command {

/// A fingerprint in groups of four digits, eight groups a line, as people compare them.
std::vector<std::string> fingerprintLines(std::string_view fingerprint);

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace idlewyn::command {

/// A fingerprint in groups of four digits, eight groups a line, as people compare them.
std::vector<std::string> fingerprintLines(std::string_view fingerprint);

/// What a person gave as a fingerprint, as 64 lower-case digits: colons and white space are
/// dropped. Throws a usage Failure that says what is wrong with it, without quoting it.
std::string parseFingerprint(std::string_view given);

}  // namespace idlewyn::command

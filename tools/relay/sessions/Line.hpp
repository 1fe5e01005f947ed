// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace idlewyn::relay {

/// The first line with anything in it, without control characters, at most `limit` bytes long. A
/// longer one ends with an ellipsis, never inside a character. For titles and the like; what
/// people decide on is never cut.
std::string oneLine(std::string_view text, std::size_t limit);

}  // namespace idlewyn::relay

// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>

namespace idlewyn::command {

/// The columns that a text fills on a terminal: 2 for East Asian wide characters and most emoji
/// (UAX #11), 0 for combining marks, 1 for everything else. The text is escaped already.
std::size_t displayWidth(std::string_view text) noexcept;

}  // namespace idlewyn::command

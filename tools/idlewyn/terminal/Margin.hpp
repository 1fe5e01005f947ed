// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace idlewyn::command {

/// A text from an agent as a block of lines, each after a margin, so that none can pass for one of
/// ours. With `columns` the lines are wrapped to fit, margin included: a row that continues the one
/// above begins with "↪ " in place of "│ ". Nothing is left out: where a row is broken at blanks,
/// they stand at the beginning of the next.
std::vector<std::string> behindMargin(std::string_view text, std::string_view indentation,
                                      std::optional<std::size_t> columns);

}  // namespace idlewyn::command

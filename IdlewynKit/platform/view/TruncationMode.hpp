// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace idlewyn::platform {

/// Which part of a line that does not fit gives way to an ellipsis.
enum class TruncationMode : std::uint8_t { head, middle, tail };

}  // namespace idlewyn::platform

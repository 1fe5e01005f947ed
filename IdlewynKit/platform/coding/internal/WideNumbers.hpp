// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace idlewyn::platform::internal {

/// The parser refuses a whole document for one number that is beyond 64 bits or beyond a
/// double, even where no field reads it. This gives the document with such numbers rewritten:
/// a wide integer as the same number with an exponent (so it is read as a double), and one beyond
/// a double as `beyondDouble`. Everything else, malformed numbers included, stays.
std::string narrowingNumbers(std::string_view json);

/// Stands for a number that no double can hold. It is finite, so that the parser takes it; no
/// field does.
inline constexpr double beyondDouble = -1.7976931348623157e308;

}  // namespace idlewyn::platform::internal

// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include <IdlewynKit/Export.hpp>

namespace idlewyn::platform {

/// A path or command for drawing, with characters that are not seen. Lines with right-to-left
/// letters begin with U+200E, and each run of such letters stands between U+2068 and U+2069
/// (UAX #9): folders and arguments keep their order. With `keepsOptionsWhole` U+2060 (UAX #14)
/// follows each hyphen before another character than a blank, so that no line is broken there.
///
///     draw(textInLogicalOrder(displayBlock(prompt.detail), true));
IDLEWYNKIT_EXPORT std::string textInLogicalOrder(std::string_view text, bool keepsOptionsWhole);

}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace idlewyn::command {

/// Text from elsewhere, made safe to be shown on a terminal and read by a person: what would
/// move the cursor, reorder the line or not be seen at all is written out, as `\n`, `\t`, `\r`,
/// `\u{202E}`, or `\x{FF}` for a byte that is not UTF-8. A backslash is doubled, so that nothing
/// else looks like an escape. Everything that comes from relays, agents or arguments goes
/// through here before it is printed.
std::string escaped(std::string_view text);

/// A JSON document with the same of it written as `\uXXXX`, which means the same to its reader.
std::string escapedJSON(std::string_view document);

}  // namespace idlewyn::command

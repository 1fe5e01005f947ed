// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace dashboard {

/// What an agent or a relay writes must look like what it does: characters that reorder the line
/// or are not seen at all are written out. GTK takes UTF-8 only; what is none is shown as U+FFFD.
std::string shown(const std::string& text);

}  // namespace dashboard

// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace idlewyn::relay {

/// `idlewyn://pair?url=...&code=...&pin=...`, percent-encoded; without `pin` where it is empty.
std::string pairingLinkText(std::string_view address, std::string_view code, std::string_view pin);

}  // namespace idlewyn::relay

// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// systemd's user manager, where there is one.
namespace idlewyn::relay {

/// Enables and starts the user unit, which it writes only where no package has installed one, and
/// waits until the relay of that folder answers. Offers lingering on a terminal. False, with the
/// reason told, where no user manager runs or the unit doesn't start.
bool startService(const std::string& folder);

}  // namespace idlewyn::relay

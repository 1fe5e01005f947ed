// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include <tools/idlewyn/notify/Notifier.hpp>

namespace idlewyn::command {

/// Loads the module, which stays. Throws a Failure of kind "notifications" when it isn't there.
std::unique_ptr<Notifier> loadNotifier();

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <IdlewynKit/platform/base/URL.hpp>

namespace idlewyn::command {

/// The address of a relay as a person gave it: http or https with a host. Throws a usage Failure
/// for anything else.
platform::URL parseRelayAddress(const std::string& given);

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

namespace idlewyn::platform {

/// A libcurl multi handle (CURLM).
using OwnedMulti = std::unique_ptr<void, void (*)(void*)>;

/// A new one that keeps warm connections, and of which programs that are started later inherit
/// nothing. Null when libcurl lacks memory or descriptors.
OwnedMulti makeMulti();

}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>

namespace idlewyn::platform {

/// A libcurl multi handle (CURLM).
using OwnedMulti = std::unique_ptr<void, void (*)(void*)>;

/// Connections that are kept at the least: enough for every running transfer of a few origins.
/// Left alone, libcurl throws warm connections away whenever few transfers are under way.
constexpr std::size_t fewestKeptConnections = 512;

/// libcurl walks over all of them after each transfer: with many more that would be most of its
/// work.
constexpr std::size_t mostKeptConnections = 2'048;

/// A new one that keeps warm connections, and of which programs that are started later inherit
/// nothing. Null when libcurl lacks memory or descriptors.
OwnedMulti makeMulti();
/// Up to `mostKeptConnections`; at most half of the descriptors that the process may open are spent
/// on that.
void keepConnections(void* multi, std::size_t count);

}  // namespace idlewyn::platform

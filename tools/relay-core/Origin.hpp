// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// Where a request comes from, as limits count it.
namespace idlewyn::relay {

/// The address as it is counted: an IPv6 network of 64 bits counts as one, and an IPv4 address
/// that is written as an IPv6 address counts as what it is.
std::string countedOrigin(const std::string& address);

}  // namespace idlewyn::relay

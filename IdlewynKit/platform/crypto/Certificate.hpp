// SPDX-License-Identifier: MIT
#pragma once

#include <utility>
#include <vector>

#include <IdlewynKit/platform/base/Data.hpp>

namespace idlewyn::platform {

/// An X.509 certificate as its DER bytes, which are not examined.
struct Certificate {
  explicit Certificate(Data der) : der(std::move(der)) {}

  friend bool operator==(const Certificate&, const Certificate&) = default;

  Data der;
};

/// What a server presented in its handshake: its certificate first, then the others in the
/// order sent. The chain may be empty.
struct ServerTrust {
  explicit ServerTrust(std::vector<Certificate> chain) : certificateChain(std::move(chain)) {}

  friend bool operator==(const ServerTrust&, const ServerTrust&) = default;

  std::vector<Certificate> certificateChain;
};

}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

/// Looks at an address as a device would, before a link with it is shown.
namespace idlewyn::relay {

struct AddressCheck {
  /// A relay of ours answers there.
  bool isRelay = false;
  /// The fingerprint of the certificate that answers; absent for plain http.
  std::optional<std::string> fingerprint;
  /// Why it can't be reached, as a sentence; empty when it can.
  std::string trouble;
};

/// Asks `address` for its settings without a token, which a relay refuses with 401. Takes ten
/// seconds at most.
AddressCheck checkAddress(const std::string& address);

}  // namespace idlewyn::relay

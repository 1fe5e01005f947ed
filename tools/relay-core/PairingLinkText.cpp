// SPDX-License-Identifier: MIT
#include "PairingLinkText.hpp"

#include "HTTPMessages.hpp"

namespace idlewyn::relay {

std::string pairingLinkText(std::string_view address, std::string_view code, std::string_view pin) {
  std::string link = "idlewyn://pair?url=" + percentEncoded(address);
  link += "&code=" + percentEncoded(code);
  return pin.empty() ? link : link + "&pin=" + percentEncoded(pin);
}

}  // namespace idlewyn::relay

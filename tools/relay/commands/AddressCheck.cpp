// SPDX-License-Identifier: MIT
#include <tools/relay/commands/AddressCheck.hpp>

#include <chrono>
#include <exception>
#include <memory>

#include <IdlewynKit/platform/tasks/Wait.hpp>
#include <IdlewynKit/security/PinningDelegate.hpp>

namespace idlewyn::relay {

AddressCheck checkAddress(const std::string& address) {
  AddressCheck check;
  const auto url = platform::URL::parse(address + "/v1/settings");
  if (!url) {
    check.trouble = "The address is not a URL.";
    return check;
  }
  const auto delegate = std::make_shared<PinningDelegate>(std::nullopt);
  const auto session = platform::URLSession::ephemeral(delegate);
  platform::URLRequest request(*url);
  request.timeoutInterval = std::chrono::seconds(10);
  try {
    const platform::HTTPResponse response = platform::wait(session->data(request));
    check.isRelay = response.statusCode == 401;
    if (!check.isRelay) {
      check.trouble =
          "Something else answers there, with status " + std::to_string(response.statusCode) + ".";
    }
  } catch (const std::exception& error) {
    check.trouble = error.what();
  }
  check.fingerprint = delegate->seen();
  return check;
}

}  // namespace idlewyn::relay

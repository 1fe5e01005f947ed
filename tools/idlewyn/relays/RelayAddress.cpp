// SPDX-License-Identifier: MIT
#include <tools/idlewyn/relays/RelayAddress.hpp>

#include <tools/idlewyn/failure/Failure.hpp>

namespace idlewyn::command {

platform::URL parseRelayAddress(const std::string& given) {
  auto url = platform::URL::parse(given);
  const std::string scheme = url ? url->lowercasedScheme() : std::string();
  if ((scheme != "https" && scheme != "http") || url->host().value_or("").empty()) {
    throw usageFailure("The address must be http or https with a host.");
  }
  return *std::move(url);
}

}  // namespace idlewyn::command

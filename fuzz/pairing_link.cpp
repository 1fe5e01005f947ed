// SPDX-License-Identifier: MIT
// A link is complete or nothing, and a complete one is found again in a link made of its parts.
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <IdlewynKit/relay/PairingLink.hpp>

#include "support/Require.hpp"

using namespace idlewyn;
using fuzz::require;

namespace {

std::string encoded(std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    result += {'%', digits[byte >> 4], digits[byte & 15]};
  }
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto url = URL::parse(fuzz::asText(bytes, size));
  const auto link = url ? PairingLink::parse(*url) : std::nullopt;
  if (!link) return 0;
  const std::string scheme = link->serverURL.lowercasedScheme();
  require(scheme == "http" || scheme == "https");
  require(link->serverURL.host().has_value());
  require(!link->code.empty());
  require((scheme == "https") == link->certificatePin.has_value());

  const std::string again = "IDLEWYN://pair?pin=" + encoded(link->certificatePin.value_or("")) +
                            "&code=%20" + encoded(link->code) +
                            "&url=" + encoded(link->serverURL.text());
  require(PairingLink::parse(*URL::parse(again)) == link);
  return 0;
}

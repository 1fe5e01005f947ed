// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/base/Hashing.hpp>
#include <IdlewynKit/platform/base/Record.hpp>
#include <IdlewynKit/platform/base/URL.hpp>

/// All that is needed to pair, in one link: `idlewyn://pair?url=RELAY&code=CODE&pin=PIN`.
///
///     if (auto url = URL::parse(text))
///       if (auto link = PairingLink::parse(*url))
///         co_await service.pair(provider, link->serverURL, link->code, link->certificatePin);
namespace idlewyn {

using platform::URL;

/// Holds a secret, the pairing code.
struct PairingLink {
  PairingLink(URL serverURL, std::string code, std::optional<std::string> certificatePin)
      : serverURL(std::move(serverURL)),
        code(std::move(code)),
        certificatePin(std::move(certificatePin)) {}

  /// All or nothing. Scheme and host compare without case, item names with it; of several items
  /// of one name the first counts; others are ignored. The address must be http or https with
  /// a host and is kept as written. The code loses outer spaces and tabs and must not be empty
  /// then. An https address needs a pin of 64 digits after normalising; the pin of an http
  /// address is discarded.
  IDLEWYNKIT_EXPORT static std::optional<PairingLink> parse(const URL& url);

  friend bool operator==(const PairingLink&, const PairingLink&) = default;

  using IdlewynRecord = PairingLink;
  static constexpr auto fields() {
    return std::tuple{platform::field("serverURL", &PairingLink::serverURL),
                      platform::field("code", &PairingLink::code),
                      platform::field("certificatePin", &PairingLink::certificatePin)};
  }

  URL serverURL;
  std::string code;
  std::optional<std::string> certificatePin;
};

}  // namespace idlewyn

// SPDX-License-Identifier: MIT
#include <IdlewynKit/relay/PairingLink.hpp>

#include <string_view>

#include <IdlewynKit/platform/text/Unicode.hpp>
#include <IdlewynKit/security/CertificatePin.hpp>

namespace idlewyn {

namespace {

constexpr std::size_t fingerprintLength = 64;

// The value of the first item of that name; an item without "=" has none.
std::optional<std::string> value(const URL& url, std::string_view name) {
  auto item = url.firstQueryItem(name);
  return item ? std::move(item->value) : std::nullopt;
}

// Characters, not bytes: a full-width digit is one.
std::size_t characterCount(std::string_view text) {
  std::size_t count = 0;
  platform::forEachCharacter(text, [&](std::string_view) { ++count; });
  return count;
}

std::optional<URL> relayAddress(const std::optional<std::string>& text) {
  auto address = text ? URL::parse(*text) : std::nullopt;
  if (!address) return std::nullopt;
  const std::string scheme = address->lowercasedScheme();
  if (scheme != "http" && scheme != "https") return std::nullopt;
  if (address->host().value_or("").empty()) return std::nullopt;
  return address;
}

}  // namespace

std::optional<PairingLink> PairingLink::parse(const URL& url) {
  if (url.lowercasedScheme() != "idlewyn") return std::nullopt;
  if (!url.host() || platform::lowercased(*url.host()) != "pair") return std::nullopt;
  auto address = relayAddress(value(url, "url"));
  if (!address) return std::nullopt;
  const std::string code = value(url, "code").value_or("");
  const std::string_view trimmedCode = platform::trimmingSpaces(code);
  if (trimmedCode.empty()) return std::nullopt;

  std::optional<std::string> pin;
  if (address->lowercasedScheme() == "https") {
    pin = CertificatePin::normalized(value(url, "pin").value_or(""));
    if (characterCount(*pin) != fingerprintLength) return std::nullopt;
  }
  return PairingLink(std::move(*address), std::string(trimmedCode), std::move(pin));
}

}  // namespace idlewyn

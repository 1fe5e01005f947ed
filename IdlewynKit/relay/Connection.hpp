// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <tuple>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/model/AgentProvider.hpp>
#include <IdlewynKit/platform/base/Date.hpp>
#include <IdlewynKit/platform/base/Hashing.hpp>
#include <IdlewynKit/platform/base/Record.hpp>
#include <IdlewynKit/platform/base/URL.hpp>

/// What is kept after pairing with a relay for one agent.
///
///     Connection connection = co_await service.pair(provider, url, code, pin);
///     Connection demo = Connection::demo(AgentProvider::codex);
namespace idlewyn {

using platform::Date;
using platform::DateClock;
using platform::URL;

/// Holds a secret, the access token: never print it. A default-made value is only there for
/// results that are filled later: no request can be sent to its address, so that every operation
/// on it throws the URLError `unsupportedURL`. It is not a demo connection.
struct Connection {
  IDLEWYNKIT_EXPORT Connection(AgentProvider provider, std::optional<URL> serverURL,
                               std::string accessToken, std::string accountName, Date connectedAt,
                               std::optional<std::string> certificatePin);
  IDLEWYNKIT_EXPORT Connection();
  explicit Connection(platform::DecodingKey) {}

  /// A connection that is served from generated data: no address, account "Demo", connected
  /// now.
  IDLEWYNKIT_EXPORT static Connection demo(AgentProvider provider);

  friend bool operator==(const Connection&, const Connection&) = default;

  using IdlewynRecord = Connection;
  static constexpr auto fields() {
    using platform::field;
    using C = Connection;
    return std::tuple{
        field("provider", &C::provider),       field("serverURL", &C::serverURL),
        field("accessToken", &C::accessToken), field("accountName", &C::accountName),
        field("connectedAt", &C::connectedAt), field("certificatePin", &C::certificatePin)};
  }

  /// The identity: two connections of one provider stand for the same item.
  AgentProvider id() const noexcept { return provider; }
  /// True when there is no server address, whatever the other fields say.
  bool isDemo() const noexcept { return !serverURL; }

  AgentProvider provider{};
  /// The relay's base address, path prefix included.
  std::optional<URL> serverURL;
  /// The bearer token that the relay issued.
  std::string accessToken;
  std::string accountName;
  /// When the pairing completed.
  Date connectedAt;
  /// The normalised fingerprint of the relay's certificate, when one is pinned.
  std::optional<std::string> certificatePin;
};

}  // namespace idlewyn

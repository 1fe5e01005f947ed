// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <string>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/base/URL.hpp>
#include <IdlewynKit/platform/tasks/Awaitable.hpp>

/// Exchanges push tokens for push keys at the product's push gateway.
///
///     PushGatewayClient& gateway = PushGatewayClient::shared();
///     std::optional<std::string> key = co_await gateway.pushKey(token, "production");
///     PushTokenRegistration registration(deviceID, kind, tokenBytes, "production", key);
namespace idlewyn {

namespace internal {
struct PushGatewayMaker;
}

using platform::URL;

/// Remembers the keys that it was given for the life of the process. All members may be called
/// from any thread, and a call may outlive its client.
class PushGatewayClient {
 public:
  /// The one of this process. Its address is read at the first call from the text under
  /// "VantorPushGateway" in `platform::Bundle::main()`.
  IDLEWYNKIT_EXPORT static PushGatewayClient& shared();

  PushGatewayClient(const PushGatewayClient&) = delete;
  PushGatewayClient& operator=(const PushGatewayClient&) = delete;
  IDLEWYNKIT_EXPORT ~PushGatewayClient();

  /// Whether there is a gateway at all.
  bool isConfigured() const noexcept { return baseURL.has_value(); }

  /// The key for a token (lower-case hexadecimal) and a push environment; absent, without an
  /// exchange, when no gateway is configured. A key known already is given without an exchange;
  /// calls that overlap all send, and the key of the last one to end is remembered. Only a whole
  /// success is remembered.
  ///
  /// The server must be trusted by the system's authorities; the exchange takes 10 s at most.
  /// Throws URLError; RelayError `server` with the status for any but 200, with 0 for an answer
  /// that isn't HTTP; DecodingError; EncodingError, before anything is sent, when an argument is
  /// not UTF-8.
  IDLEWYNKIT_EXPORT boost::asio::awaitable<std::optional<std::string>> pushKey(
      std::string token, std::string environment);

  /// Absent when no gateway is configured: no value, one that isn't text, an empty text or one
  /// that is no URL.
  const std::optional<URL> baseURL;

 private:
  friend struct internal::PushGatewayMaker;
  class Keys;
  explicit PushGatewayClient(std::optional<URL> baseURL);

  const std::shared_ptr<Keys> keys_;
};

}  // namespace idlewyn

// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/base/Data.hpp>
#include <IdlewynKit/platform/base/URL.hpp>

namespace idlewyn::platform {

/// One HTTP request (RFC 9110), never redirected. It is sent once, whatever its method: where
/// its connection dies before the answer the exchange fails, for the server may have acted.
///
///     URLRequest request(url);
///     request.method = "POST";
///     request.setHeader("Content-Type", "application/json");
///     request.body = JSONEncoder::relay().encode(payload);
struct URLRequest {
  explicit URLRequest(URL url) : url(std::move(url)) {}

  /// Replaces the field of that name (names compare without case) or adds it. Fields whose
  /// name is no token or whose value holds a control character make the exchange fail with
  /// `badURL` before anything is sent. Host, Content-Length, Transfer-Encoding, Connection and
  /// their kin are the transport's own: what is set for them is not sent.
  IDLEWYNKIT_EXPORT void setHeader(std::string_view name, std::string value);
  IDLEWYNKIT_EXPORT std::optional<std::string_view> header(std::string_view name) const noexcept;

  /// A scheme other than http and https, or none, makes the exchange fail with `unsupportedURL`,
  /// no host with `badURL`. User information and fragment are not sent.
  URL url;
  /// Sent in the case that is written. HEAD with a body fails with `badURL`.
  std::string method = "GET";
  std::vector<std::pair<std::string, std::string>> headers;
  std::optional<Data> body;
  /// The total time of the exchange, from the call to the last byte, waiting in queues
  /// included. Zero or less ends it at once.
  std::chrono::duration<double> timeoutInterval{60};
};

}  // namespace idlewyn::platform

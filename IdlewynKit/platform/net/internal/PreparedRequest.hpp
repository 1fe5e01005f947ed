// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <variant>

#include <IdlewynKit/platform/net/URLError.hpp>
#include <IdlewynKit/platform/net/URLRequest.hpp>

namespace idlewyn::platform {

/// A request that was examined and may be sent.
struct PreparedRequest {
  explicit PreparedRequest(URLRequest request) : request(std::move(request)) {}

  URLRequest request;
  /// libcurl's own reading of the address (CURLU), which was compared with ours: what was
  /// checked is what is dialled. It holds no user information.
  std::shared_ptr<void> address;
  /// Lower-case scheme, host and port: what connections and the limit on them go by.
  std::string origin;
  /// Without brackets: what a certificate must name under default handling.
  std::string host;
  /// Path and query byte for byte as written, the request line's middle part.
  std::string target;
  bool isSecure = false;
  /// The host is an IP address, not a name.
  bool isHostNumeric = false;
};

/// Examines a request before anything is sent. A scheme other than http and https, or none, is
/// `unsupportedURL`; no host, a host or port that libcurl reads differently, a method or field
/// name that is no token and a field value with a control character are `badURL`.
std::variant<PreparedRequest, URLError> prepare(URLRequest request);

}  // namespace idlewyn::platform

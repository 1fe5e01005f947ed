// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <IdlewynKit/platform/base/Data.hpp>

namespace idlewyn::platform {

/// An answer. The default-made one is an answer that was not HTTP.
struct HTTPResponse {
  HTTPResponse() = default;
  HTTPResponse(int statusCode, std::vector<std::pair<std::string, std::string>> headers, Data body)
      : statusCode(statusCode), headers(std::move(headers)), body(std::move(body)) {}

  bool isHTTP() const noexcept { return statusCode != 0; }

  /// 100 to 999 as received; 0 when what came back was not HTTP.
  int statusCode = 0;
  /// Names and values in the order received, names as written by the server.
  std::vector<std::pair<std::string, std::string>> headers;
  /// Decoded by its Content-Encoding; at most 64 MiB. A body of the announced length whose
  /// coding breaks off in the midst gives what could be decoded of it, which may be nothing;
  /// one whose coding is unknown or wrong gives nothing.
  Data body;
};

}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <optional>
#include <string>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/base/URL.hpp>

namespace idlewyn::platform {

/// Why an exchange ended without an answer. The numbers are stable and may be stored.
enum class URLErrorCode : int {
  cancelled = -999,
  badURL = -1000,
  timedOut = -1001,
  unsupportedURL = -1002,
  cannotFindHost = -1003,
  cannotConnectToHost = -1004,
  networkConnectionLost = -1005,
  badServerResponse = -1011,
  dataLengthExceedsMaximum = -1103,
  secureConnectionFailed = -1200,
  serverCertificateHasBadDate = -1201,
  serverCertificateUntrusted = -1202,
};

/// A transport failure. `what()` is one sentence in English that names neither tokens nor the
/// user information of the address.
struct IDLEWYNKIT_EXPORT URLError : std::exception {
  URLError(URLErrorCode code, std::optional<URL> failingURL, std::string reason);

  const char* what() const noexcept override { return reason.c_str(); }

  friend bool operator==(const URLError& a, const URLError& b) noexcept {
    return a.code == b.code && a.failingURL == b.failingURL && a.reason == b.reason;
  }

  URLErrorCode code;
  /// The address of the request, without user information; absent when it had none.
  std::optional<URL> failingURL;
  std::string reason;
};

}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#include <IdlewynKit/relay/internal/Validation.hpp>

#include <string_view>
#include <utility>
#include <variant>

namespace idlewyn::internal {

namespace {

using platform::URLError;
using platform::URLErrorCode;

// What a refused certificate can look like from outside. A pinned exchange that was cancelled
// for another reason can't be told from it.
bool looksLikeMismatch(URLErrorCode code) {
  return code == URLErrorCode::cancelled || code == URLErrorCode::serverCertificateUntrusted ||
         code == URLErrorCode::secureConnectionFailed;
}

RelayError errorFor(int status, const platform::URL& sent) {
  switch (status) {
    case 401:
    case 403: return RelayError::unauthorized();
    case 404:
      if (sent.path().find("/v1/permissions/") != std::string_view::npos) {
        return RelayError::promptExpired();
      }
      return RelayError::server(status);
    case 429: return RelayError::tooManyAttempts();
    default: return RelayError::server(status);
  }
}

}  // namespace

platform::Data acceptedBody(platform::URLSession::Outcome outcome, const platform::URL& sent,
                            bool isPinned) {
  if (const auto* error = std::get_if<URLError>(&outcome)) {
    if (isPinned && looksLikeMismatch(error->code)) throw RelayError::certificateMismatch();
    throw *error;
  }
  auto& response = std::get<platform::HTTPResponse>(outcome);
  if (!response.isHTTP()) throw RelayError::invalidResponse();
  if (response.statusCode < 200 || response.statusCode > 299) {
    throw errorFor(response.statusCode, sent);
  }
  return std::move(response.body);
}

}  // namespace idlewyn::internal

// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <exception>
#include <string>

#include <IdlewynKit/Export.hpp>

/// What goes wrong between the library and a relay, each case with a fixed English sentence.
///
///     try {
///       co_await service.decide(PermissionDecision::allow, promptID, connection);
///     } catch (const RelayError& error) {
///       if (error == RelayError::promptExpired()) refresh(); else show(error.errorDescription());
///     }
namespace idlewyn {

/// A value: two `server` errors are equal when their statuses are, the other cases are equal to
/// themselves only.
class IDLEWYNKIT_EXPORT RelayError : public std::exception {
 public:
  enum class Kind {
    /// A status that has no case of its own; from the push gateway also 0, no HTTP at all.
    server,
    /// The answer was not HTTP, or a 2xx answer that could not be decoded.
    invalidResponse,
    /// 401 or 403: the pairing code or the token was refused.
    unauthorized,
    /// 404 on a permission answer: the prompt no longer exists.
    promptExpired,
    /// TLS with a pinned relay failed as a pin mismatch fails, cancellation included.
    certificateMismatch,
    /// 429.
    tooManyAttempts,
  };

  static RelayError server(std::int64_t status) { return RelayError(Kind::server, status); }
  static RelayError invalidResponse() { return RelayError(Kind::invalidResponse, 0); }
  static RelayError unauthorized() { return RelayError(Kind::unauthorized, 0); }
  static RelayError promptExpired() { return RelayError(Kind::promptExpired, 0); }
  static RelayError certificateMismatch() { return RelayError(Kind::certificateMismatch, 0); }
  static RelayError tooManyAttempts() { return RelayError(Kind::tooManyAttempts, 0); }

  friend bool operator==(const RelayError& a, const RelayError& b) noexcept {
    return a.kind_ == b.kind_ && a.status_ == b.status_;
  }

  /// The sentence for the user, UTF-8, never empty.
  std::string errorDescription() const;
  /// The same, valid as long as the error.
  const char* what() const noexcept override;

  Kind kind() const noexcept { return kind_; }
  /// The HTTP status of `server`; 0 in every other case.
  std::int64_t status() const noexcept { return status_; }

 private:
  RelayError(Kind kind, std::int64_t status) noexcept;

  Kind kind_;
  std::int64_t status_;
  std::array<char, 56> serverText_{};  // made early, for `what` to point to
};

/// The sentence of any error that the library throws: `errorDescription()` of a RelayError, else
/// `what()`. Empty for an empty pointer.
IDLEWYNKIT_EXPORT std::string errorDescription(const std::exception_ptr& error);

}  // namespace idlewyn

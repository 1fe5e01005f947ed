// SPDX-License-Identifier: MIT
#include <IdlewynKit/errors/Problem.hpp>

#include <IdlewynKit/platform/coding/DecodingError.hpp>
#include <IdlewynKit/platform/coding/EncodingError.hpp>
#include <IdlewynKit/platform/net/URLError.hpp>
#include <IdlewynKit/platform/secrets/Keychain.hpp>
#include <IdlewynKit/relay/RelayError.hpp>
#include <IdlewynKit/storage/KeychainError.hpp>

namespace idlewyn {

namespace {

using platform::URLErrorCode;

Problem ofRelay(RelayError::Kind kind) noexcept {
  switch (kind) {
    case RelayError::Kind::server: return Problem::relayFailed;
    case RelayError::Kind::invalidResponse: return Problem::notUnderstood;
    case RelayError::Kind::unauthorized: return Problem::pairAgain;
    case RelayError::Kind::promptExpired: return Problem::promptGone;
    case RelayError::Kind::certificateMismatch: return Problem::wrongCertificate;
    case RelayError::Kind::tooManyAttempts: return Problem::tooOften;
  }
  return Problem::other;
}

Problem ofTransport(URLErrorCode code) noexcept {
  switch (code) {
    case URLErrorCode::cancelled: return Problem::cancelled;
    case URLErrorCode::badURL:
    case URLErrorCode::unsupportedURL: return Problem::badAddress;
    case URLErrorCode::timedOut: return Problem::tooLate;
    case URLErrorCode::badServerResponse:
    case URLErrorCode::dataLengthExceedsMaximum: return Problem::notUnderstood;
    case URLErrorCode::serverCertificateHasBadDate:
    case URLErrorCode::serverCertificateUntrusted: return Problem::untrustedCertificate;
    default: return Problem::network;
  }
}

Problem ofKeychain(std::int32_t status) noexcept {
  const bool isLocked = status == platform::KeychainStatus::interactionNotAllowed;
  return isLocked ? Problem::keychainLocked : Problem::keychain;
}

}  // namespace

Problem problemOf(const std::exception_ptr& error) noexcept {
  if (!error) return Problem::other;
  try {
    std::rethrow_exception(error);
  } catch (const RelayError& relayError) {
    return ofRelay(relayError.kind());
  } catch (const platform::URLError& urlError) {
    return ofTransport(urlError.code);
  } catch (const KeychainError& keychainError) {
    return ofKeychain(keychainError.status);
  } catch (const platform::DecodingError&) {
    return Problem::badValue;
  } catch (const platform::EncodingError&) {
    return Problem::badValue;
  } catch (...) {
    return Problem::other;
  }
}

bool isPassing(Problem problem) noexcept {
  switch (problem) {
    case Problem::tooOften:
    case Problem::relayFailed:
    case Problem::tooLate:
    case Problem::network: return true;
    default: return false;
  }
}

}  // namespace idlewyn

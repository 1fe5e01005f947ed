// SPDX-License-Identifier: MIT
#include <stdexcept>

#include <gtest/gtest.h>

#include <IdlewynKit/errors/Problem.hpp>
#include <IdlewynKit/model/JSONCoding.hpp>
#include <IdlewynKit/platform/net/URLError.hpp>
#include <IdlewynKit/platform/secrets/Keychain.hpp>
#include <IdlewynKit/relay/RelayError.hpp>
#include <IdlewynKit/storage/KeychainError.hpp>

namespace idlewyn {
namespace {

using platform::KeychainStatus;
using platform::URLError;
using platform::URLErrorCode;

template <class Error>
std::exception_ptr made(Error error) {
  return std::make_exception_ptr(std::move(error));
}

std::exception_ptr transport(URLErrorCode code) {
  return made(URLError(code, std::nullopt, "It failed."));
}

template <class Operation>
std::exception_ptr thrownBy(Operation operation) {
  try {
    operation();
  } catch (...) {
    return std::current_exception();
  }
  return nullptr;
}

TEST(Problem, IsWhatAPersonCanDoSomethingAbout) {
  const auto unreadable = [] { JSONDecoder::relay().decode<std::string>("{"); };
  const auto notText = [] { JSONEncoder::relay().encode(std::string("\xff")); };
  const struct {
    std::exception_ptr error;
    Problem expected;
    bool isPassing;
    const char* what;
  } rows[] = {
      {made(RelayError::unauthorized()), Problem::pairAgain, false, "a token is refused"},
      {made(RelayError::certificateMismatch()), Problem::wrongCertificate, false, "another pin"},
      {made(RelayError::promptExpired()), Problem::promptGone, false, "answered elsewhere"},
      {made(RelayError::tooManyAttempts()), Problem::tooOften, true, "status 429"},
      {made(RelayError::invalidResponse()), Problem::notUnderstood, false, "no relay"},
      {made(RelayError::server(503)), Problem::relayFailed, true, "status 503"},
      {transport(URLErrorCode::cancelled), Problem::cancelled, false, "cancelled"},
      {transport(URLErrorCode::badURL), Problem::badAddress, false, "no address"},
      {transport(URLErrorCode::unsupportedURL), Problem::badAddress, false, "no http"},
      {transport(URLErrorCode::timedOut), Problem::tooLate, true, "ten seconds are over"},
      {transport(URLErrorCode::cannotFindHost), Problem::network, true, "no such name"},
      {transport(URLErrorCode::cannotConnectToHost), Problem::network, true, "nobody listens"},
      {transport(URLErrorCode::networkConnectionLost), Problem::network, true, "cut off"},
      {transport(URLErrorCode::secureConnectionFailed), Problem::network, true, "no TLS"},
      {transport(URLErrorCode::badServerResponse), Problem::notUnderstood, false, "no HTTP"},
      {transport(URLErrorCode::dataLengthExceedsMaximum), Problem::notUnderstood, false, "long"},
      {transport(URLErrorCode::serverCertificateHasBadDate), Problem::untrustedCertificate, false,
       "out of date"},
      {transport(URLErrorCode::serverCertificateUntrusted), Problem::untrustedCertificate, false,
       "nobody vouches for it"},
      {made(KeychainError(KeychainStatus::interactionNotAllowed)), Problem::keychainLocked, false,
       "a locked keyring"},
      {made(KeychainError(KeychainStatus::diskFull)), Problem::keychain, false, "a full disk"},
      {thrownBy(unreadable), Problem::badValue, false, "no JSON"},
      {thrownBy(notText), Problem::badValue, false, "no UTF-8"},
      {made(std::bad_alloc()), Problem::other, false, "memory"},
      {made(7), Problem::other, false, "not even an exception of the standard"},
      {nullptr, Problem::other, false, "no error"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(problemOf(row.error), row.expected) << row.what;
    EXPECT_EQ(isPassing(row.expected), row.isPassing) << row.what;
  }
}

}  // namespace
}  // namespace idlewyn

// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <exception>

#include <IdlewynKit/Export.hpp>

/// What went wrong, as far as it decides what a person or a program does next.
///
///     switch (problemOf(error)) {
///       case Problem::pairAgain: return offerPairing();
///       default: showLine(errorDescription(error));
///     }
///     if (isPassing(problemOf(error))) tryAgainLater();
namespace idlewyn {

/// Later releases may add cases: a `switch` needs a default.
enum class Problem : std::uint8_t {
  /// The relay refuses the pairing code or the token.
  pairAgain,
  /// The relay shows another certificate than the pinned one, or a pinned exchange was cancelled.
  wrongCertificate,
  /// The prompt was answered elsewhere, or has expired.
  promptGone,
  /// The relay was asked too often.
  tooOften,
  /// What answers is no relay, or one that this release doesn't understand.
  notUnderstood,
  /// The relay answers with another status, from 500 on mostly.
  relayFailed,
  /// There was no whole answer in time.
  tooLate,
  /// There was no answer: no such host, no connection, or a connection that ended midway.
  network,
  /// No request can be sent to the address.
  badAddress,
  /// No authority of this system vouches for the certificate, or it is out of date.
  untrustedCertificate,
  /// The awaiting coroutine was cancelled.
  cancelled,
  /// The keychain is locked.
  keychainLocked,
  /// The keychain refused for another reason.
  keychain,
  /// A value can't be written as JSON or read from it.
  badValue,
  /// Anything else: memory, or an exception that isn't the library's.
  other,
};

/// The problem that an exception stands for. `other` for an empty pointer.
IDLEWYNKIT_EXPORT Problem problemOf(const std::exception_ptr& error) noexcept;

/// Whether the same operation may succeed later without anybody doing anything. An answer to a
/// prompt is no such operation: it may have arrived, so fetch the sessions first.
IDLEWYNKIT_EXPORT bool isPassing(Problem problem) noexcept;

}  // namespace idlewyn

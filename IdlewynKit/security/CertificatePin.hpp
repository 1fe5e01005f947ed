// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/crypto/Certificate.hpp>
#include <IdlewynKit/platform/net/URLSession.hpp>

/// Trust in a server by the SHA-256 fingerprint of its certificate and nothing else.
///
///     auto session = CertificatePin::session("AB:CD:...");
///     auto response = co_await session->data(request);   // cancelled unless the pin fits
namespace idlewyn {

using platform::Certificate;
using platform::Data;
using platform::URLSession;

/// A fingerprint is the SHA-256 of a certificate's DER bytes as 64 lower-case hexadecimal
/// characters. A pin is what a person or a link wrote of one.
struct CertificatePin {
  CertificatePin() = delete;

  /// The pin in lower case, of its characters (grapheme clusters) only those that are
  /// hexadecimal digits, full-width ones included. Of any length; idempotent. Beware of a
  /// prefix such as "SHA256:": its digits stay and the pin will match nothing.
  IDLEWYNKIT_EXPORT static std::string normalized(std::string_view pin);

  IDLEWYNKIT_EXPORT static std::string fingerprint(const Certificate& certificate);

  /// The fingerprint of the certificate in a PEM file (RFC 7468): its lines without those that
  /// begin with "-----" are joined and decoded as strict base64; the bytes are not examined
  /// further. Empty lines are dropped; a file of nothing else has the hash of no bytes. No value
  /// when the file is not a regular one of at most 16 MiB, can't be read, is not UTF-8 or not
  /// base64; carriage returns are not base64. Throws nothing but std::bad_alloc.
  IDLEWYNKIT_EXPORT static std::optional<std::string> fingerprintOfPEM(
      const std::filesystem::path& file);

  /// The session that enforces the pin: one for each normalised pin, made on first use and
  /// kept for the life of the process, so that connections are reused. Under a pin that is no
  /// full fingerprint every server is refused. Any thread.
  IDLEWYNKIT_EXPORT static std::shared_ptr<URLSession> session(std::string_view pin);
};

}  // namespace idlewyn

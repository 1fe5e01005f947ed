// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

/// Server certificates for tests: made on the spot, self-signed.
///
///     CertificateOptions options;
///     options.key = KeyType::rsa;
///     ServerCertificate certificate = ServerCertificate::make(options);
///     certificate.fingerprint;   // 64 hexadecimal digits: what a pairing link pins
namespace idlewyn::relay {

/// ECDSA on P-256 or RSA with 2048 bits.
enum class KeyType : std::uint8_t { ecdsa, rsa };

struct CertificateOptions {
  CertificateOptions() = default;

  KeyType key = KeyType::ecdsa;
  std::string commonName = "Sandbox relay";
  /// As OpenSSL writes alternative names; an empty list leaves the extension out.
  std::vector<std::string> alternativeNames{"DNS:localhost", "IP:127.0.0.1", "IP:::1"};
  /// Relative to now; an end in the past makes an expired certificate.
  std::chrono::seconds validFrom = -std::chrono::hours(1);
  std::chrono::seconds validTo = std::chrono::hours(24 * 365);
};

struct ServerCertificate {
  /// Throws std::runtime_error when OpenSSL fails or does not know an alternative name.
  static ServerCertificate make(const CertificateOptions& options = CertificateOptions());
  /// Reads PEM files: the certificate first, then its chain; and its private key. Throws
  /// std::runtime_error that names the file when it can't be read or the two don't belong
  /// together.
  static ServerCertificate read(const std::string& certificateFile, const std::string& keyFile);

  /// Writes both PEM files; the key is readable by its owner only.
  void write(const std::string& certificateFile, const std::string& keyFile) const;

  /// The certificate and, when read from a file, the rest of its chain.
  std::string chainPEM;
  std::string keyPEM;
  /// SHA-256 of the certificate's DER bytes, 64 lower-case hexadecimal digits.
  std::string fingerprint;

 private:
  ServerCertificate() = default;
};

}  // namespace idlewyn::relay

// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include <IdlewynKit/platform/base/Data.hpp>

namespace idlewyn::testing {

/// A certificate with its key, made in memory (P-256, so that making one takes no time).
class TestCertificate {
 public:
  struct Shape {
    /// A DNS name or an IP address.
    std::string host = "127.0.0.1";
    /// Days from now.
    int validFrom = -1;
    int validTo = 1;
    /// Self-signed when null.
    const TestCertificate* issuer = nullptr;
    bool isAuthority = false;
  };

  explicit TestCertificate(const Shape& shape);
  TestCertificate() : TestCertificate(Shape()) {}

  platform::Data der() const;
  std::string pem() const;
  void* certificate() const { return certificate_.get(); }  // X509
  void* key() const { return key_.get(); }                  // EVP_PKEY

 private:
  std::shared_ptr<void> certificate_;
  std::shared_ptr<void> key_;
};

}  // namespace idlewyn::testing

// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

/// Owners of OpenSSL's objects. Included by sources only.
namespace idlewyn::relay::internal {

template <auto release>
struct Release {
  template <class T>
  void operator()(T* object) const noexcept {
    release(object);
  }
};

using BIOHandle = std::unique_ptr<BIO, Release<BIO_free_all>>;
using KeyHandle = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY_free>>;
using X509Handle = std::unique_ptr<X509, Release<X509_free>>;
using ExtensionHandle = std::unique_ptr<X509_EXTENSION, Release<X509_EXTENSION_free>>;
using SSLHandle = std::unique_ptr<SSL, Release<SSL_free>>;

/// Throws with the last of OpenSSL's reasons; the queue of this thread is empty afterwards.
[[noreturn]] inline void fail(const std::string& what) {
  const auto code = ERR_peek_last_error();
  const char* reason = ERR_reason_error_string(code);
  ERR_clear_error();
  throw std::runtime_error(what + (reason != nullptr ? std::string(": ") + reason : ""));
}

inline void check(bool ok, const char* what) {
  if (!ok) fail(what);
}

inline BIOHandle memoryReader(std::string_view text) {
  return BIOHandle(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

}  // namespace idlewyn::relay::internal

// SPDX-License-Identifier: MIT
#include "tests/support/TestCertificate.hpp"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <stdexcept>

namespace idlewyn::testing {
namespace {

void require(bool condition) {
  if (!condition) throw std::runtime_error("a test certificate could not be made");
}

void addExtension(X509* certificate, int kind, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str());
  require(extension != nullptr && X509_add_ext(certificate, extension, -1) == 1);
  X509_EXTENSION_free(extension);
}

bool isAddress(const std::string& host) {
  return host.find_first_not_of("0123456789.") == std::string::npos;
}

}  // namespace

TestCertificate::TestCertificate(const Shape& shape)
    : certificate_(X509_new(), [](void* p) { X509_free(static_cast<X509*>(p)); }),
      key_(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"),
           [](void* p) { EVP_PKEY_free(static_cast<EVP_PKEY*>(p)); }) {
  auto* certificate = static_cast<X509*>(certificate_.get());
  auto* key = static_cast<EVP_PKEY*>(key_.get());
  require(certificate != nullptr && key != nullptr);
  X509_set_version(certificate, 2);
  std::int64_t serial = 0;
  RAND_bytes(reinterpret_cast<unsigned char*>(&serial), 7);
  ASN1_INTEGER_set_int64(X509_get_serialNumber(certificate), serial);
  constexpr long day = 24 * 3600;
  X509_gmtime_adj(X509_getm_notBefore(certificate), shape.validFrom * day);
  X509_gmtime_adj(X509_getm_notAfter(certificate), shape.validTo * day);
  const auto* subject = reinterpret_cast<const unsigned char*>(shape.host.c_str());
  X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_ASC, subject, -1,
                             -1, 0);
  X509_set_pubkey(certificate, key);
  addExtension(certificate, NID_basic_constraints,
               shape.isAuthority ? "critical,CA:TRUE" : "critical,CA:FALSE");
  addExtension(certificate, NID_subject_alt_name,
               (isAddress(shape.host) ? "IP:" : "DNS:") + shape.host);
  const TestCertificate& issuer = shape.issuer != nullptr ? *shape.issuer : *this;
  X509_set_issuer_name(certificate,
                       X509_get_subject_name(static_cast<X509*>(issuer.certificate())));
  require(X509_sign(certificate, static_cast<EVP_PKEY*>(issuer.key()), EVP_sha256()) != 0);
}

platform::Data TestCertificate::der() const {
  auto* certificate = static_cast<X509*>(certificate_.get());
  platform::Data data;
  data.storage.resize(static_cast<std::size_t>(i2d_X509(certificate, nullptr)));
  auto* out = reinterpret_cast<unsigned char*>(data.storage.data());
  i2d_X509(certificate, &out);
  return data;
}

std::string TestCertificate::pem() const {
  BIO* memory = BIO_new(BIO_s_mem());
  require(PEM_write_bio_X509(memory, static_cast<X509*>(certificate_.get())) == 1);
  char* text = nullptr;
  const long size = BIO_get_mem_data(memory, &text);
  std::string result(text, static_cast<std::size_t>(size));
  BIO_free(memory);
  return result;
}

}  // namespace idlewyn::testing

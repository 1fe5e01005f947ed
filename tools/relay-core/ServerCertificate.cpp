// SPDX-License-Identifier: MIT
#include "ServerCertificate.hpp"

#include <array>
#include <fstream>
#include <iterator>

#include <fcntl.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>
#include <unistd.h>

#include <IdlewynKit/platform/base/Hexadecimal.hpp>

#include "OpenSSLHandles.hpp"

namespace idlewyn::relay {
namespace {

using namespace internal;

KeyHandle makeKey(KeyType type) {
  KeyHandle key(type == KeyType::rsa ? EVP_PKEY_Q_keygen(nullptr, nullptr, "RSA", std::size_t{2048})
                                     : EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
  check(key != nullptr, "can't make a key");
  return key;
}

void addExtension(X509* certificate, int kind, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  const ExtensionHandle extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()));
  check(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1,
        "can't add an extension to the certificate");
}

// A random serial keeps two certificates of one name apart for browsers and other strict
// clients.
void setSerial(X509* certificate) {
  std::array<unsigned char, 8> bytes{};
  check(RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) == 1, "no random numbers");
  std::uint64_t serial = 0;
  for (const unsigned char byte : bytes)
    serial = serial << 8 | byte;
  ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), serial >> 1 | 1);
}

void setName(X509* certificate, const std::string& commonName) {
  X509_NAME* name = X509_get_subject_name(certificate);
  const auto* text = reinterpret_cast<const unsigned char*>(commonName.data());
  check(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, text,
                                   static_cast<int>(commonName.size()), -1, 0) == 1,
        "can't set the certificate's name");
  X509_set_issuer_name(certificate, name);
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names)
    text += (text.empty() ? "" : ",") + name;
  return text;
}

std::string fingerprintOf(const X509* certificate) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int size = 0;
  check(X509_digest(certificate, EVP_sha256(), digest.data(), &size) == 1, "no fingerprint");
  return platform::hexadecimal({digest.data(), size});
}

std::string contents(BIO* writer) {
  char* bytes = nullptr;
  const long size = BIO_get_mem_data(writer, &bytes);
  return {bytes, static_cast<std::size_t>(size)};
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file), {}};
  if (!file.is_open() || text.empty()) throw std::runtime_error("can't read " + path);
  return text;
}

void writeFile(const std::string& path, const std::string& text, int mode) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
  const bool written =
      file >= 0 && ::write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  if (file >= 0) close(file);
  if (!written) throw std::runtime_error("can't write " + path);
}

}  // namespace

ServerCertificate ServerCertificate::make(const CertificateOptions& options) {
  const KeyHandle key = makeKey(options.key);
  const X509Handle certificate(X509_new());
  X509* x509 = certificate.get();
  check(x509 != nullptr && X509_set_version(x509, X509_VERSION_3) == 1, "no certificate");
  setSerial(x509);
  X509_gmtime_adj(X509_getm_notBefore(x509), options.validFrom.count());
  X509_gmtime_adj(X509_getm_notAfter(x509), options.validTo.count());
  setName(x509, options.commonName);
  check(X509_set_pubkey(x509, key.get()) == 1, "can't set the certificate's key");
  addExtension(x509, NID_basic_constraints, "critical,CA:FALSE");
  addExtension(x509, NID_key_usage, "critical,digitalSignature,keyEncipherment");
  addExtension(x509, NID_ext_key_usage, "serverAuth");
  if (!options.alternativeNames.empty()) {
    addExtension(x509, NID_subject_alt_name, joined(options.alternativeNames));
  }
  check(X509_sign(x509, key.get(), EVP_sha256()) > 0, "can't sign the certificate");

  ServerCertificate made;
  const BIOHandle pem(BIO_new(BIO_s_mem()));
  check(PEM_write_bio_X509(pem.get(), x509) == 1, "can't write the certificate");
  made.chainPEM = contents(pem.get());
  const BIOHandle keyPEM(BIO_new(BIO_s_mem()));
  check(
      PEM_write_bio_PrivateKey(keyPEM.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1,
      "can't write the key");
  made.keyPEM = contents(keyPEM.get());
  made.fingerprint = fingerprintOf(x509);
  return made;
}

ServerCertificate ServerCertificate::read(const std::string& certificateFile,
                                          const std::string& keyFile) {
  ServerCertificate certificate;
  certificate.chainPEM = readFile(certificateFile);
  certificate.keyPEM = readFile(keyFile);
  const X509Handle leaf(
      PEM_read_bio_X509(memoryReader(certificate.chainPEM).get(), nullptr, nullptr, nullptr));
  if (leaf == nullptr) fail("no certificate in " + certificateFile);
  const KeyHandle key(
      PEM_read_bio_PrivateKey(memoryReader(certificate.keyPEM).get(), nullptr, nullptr, nullptr));
  if (key == nullptr) fail("no private key in " + keyFile);
  if (X509_check_private_key(leaf.get(), key.get()) != 1) {
    fail("the key in " + keyFile + " is not that of " + certificateFile);
  }
  certificate.fingerprint = fingerprintOf(leaf.get());
  return certificate;
}

void ServerCertificate::write(const std::string& certificateFile,
                              const std::string& keyFile) const {
  writeFile(certificateFile, chainPEM, 0644);
  writeFile(keyFile, keyPEM, 0600);
}

}  // namespace idlewyn::relay

// SPDX-License-Identifier: MIT
#include "Secrets.hpp"

#include <algorithm>
#include <vector>

#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <IdlewynKit/platform/base/Hexadecimal.hpp>

#include "OpenSSLHandles.hpp"

namespace idlewyn::relay {
namespace {

void fillRandomly(std::uint8_t* bytes, std::size_t count) {
  internal::check(RAND_bytes(bytes, static_cast<int>(count)) == 1, "no random numbers");
}

}  // namespace

std::string randomText(std::string_view alphabet, std::size_t length) {
  std::vector<std::uint8_t> bytes(length);
  fillRandomly(bytes.data(), bytes.size());
  std::string text;
  for (const std::uint8_t byte : bytes)
    text += alphabet[byte % alphabet.size()];
  return text;
}

std::string randomToken() {
  std::array<std::uint8_t, 32> bytes{};
  fillRandomly(bytes.data(), bytes.size());
  return platform::hexadecimal(bytes);
}

std::string digestOf(std::string_view secret) {
  std::array<std::uint8_t, 32> digest{};
  unsigned int size = 0;
  internal::check(
      EVP_Digest(secret.data(), secret.size(), digest.data(), &size, EVP_sha256(), nullptr) == 1,
      "no SHA-256");
  return platform::hexadecimal(digest);
}

bool isSameSecret(std::string_view a, std::string_view b) noexcept {
  return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace idlewyn::relay

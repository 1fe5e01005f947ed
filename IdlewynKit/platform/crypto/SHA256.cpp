// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/crypto/SHA256.hpp>

#include <new>

#include <openssl/evp.h>

namespace idlewyn::platform {

std::array<std::uint8_t, 32> sha256(std::span<const std::uint8_t> bytes) {
  std::array<std::uint8_t, 32> digest;
  // With the built-in digest only an allocation can fail.
  if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), nullptr, EVP_sha256(), nullptr) != 1) {
    throw std::bad_alloc();
  }
  return digest;
}

}  // namespace idlewyn::platform

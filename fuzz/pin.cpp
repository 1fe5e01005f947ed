// SPDX-License-Identifier: MIT
// Normalising is idempotent and keeps ASCII digits as they would be picked by hand; a PEM file
// gives a fingerprint or nothing.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <IdlewynKit/security/CertificatePin.hpp>

#include "support/Require.hpp"

using namespace idlewyn;
using fuzz::require;

namespace {

std::string asciiDigits(std::string_view text) {
  std::string digits;
  for (const char c : text) {
    if (c >= 'A' && c <= 'F') digits += static_cast<char>(c - 'A' + 'a');
    if ((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f')) digits += c;
  }
  return digits;
}

bool isASCII(std::string_view text) {
  for (const char c : text) {
    if (static_cast<unsigned char>(c) > 0x7F) return false;
  }
  return true;
}

// A regular file in memory.
std::optional<std::string> fingerprintOfText(std::string_view text) {
  const int file = memfd_create("pem", MFD_CLOEXEC);
  require(file >= 0 && write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()));
  const auto result = CertificatePin::fingerprintOfPEM("/proc/self/fd/" + std::to_string(file));
  close(file);
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view text = fuzz::asText(bytes, size);
  const std::string pin = CertificatePin::normalized(text);
  require(CertificatePin::normalized(pin) == pin);
  if (isASCII(text)) require(pin == asciiDigits(text));
  const auto print = fingerprintOfText(text);
  if (print) {
    require(print->size() == 64 && CertificatePin::normalized(*print) == *print);
  }
  return 0;
}

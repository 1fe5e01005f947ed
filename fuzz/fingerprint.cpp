// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <IdlewynKit/security/CertificatePin.hpp>

#include <tools/idlewyn/failure/Failure.hpp>
#include <tools/idlewyn/relays/Fingerprint.hpp>

// What the command takes for a fingerprint means the same to the library; the rest is a usage
// error.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace idlewyn;
  const std::string given(reinterpret_cast<const char*>(bytes), size);
  try {
    const std::string fingerprint = command::parseFingerprint(given);
    if (fingerprint.size() != 64 || command::parseFingerprint(fingerprint) != fingerprint ||
        CertificatePin::normalized(given) != fingerprint) {
      std::abort();
    }
  } catch (const command::Failure& failure) {
    if (failure.code != command::ExitCode::usage) std::abort();
  }
  return 0;
}

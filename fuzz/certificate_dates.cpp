// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include <tools/idlewyn/relays/CertificateDates.hpp>

// Any bytes give dates that can be written, or nothing.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace idlewyn;
  const auto validity = command::validityOf(platform::Data(std::span(bytes, size)));
  if (!validity) return 0;
  for (const platform::Date date : {validity->first, validity->second}) {
    const double seconds = platform::secondsSinceReferenceDate(date);
    if (!(seconds >= -64'000'000'000.0 && seconds <= 253'000'000'000.0)) std::abort();
  }
  return 0;
}

// SPDX-License-Identifier: MIT
// What is understood is what would be written; anything else is refused.
#include <IdlewynKit/platform/secrets/internal/KeychainRecord.hpp>

#include "support/Require.hpp"

using namespace idlewyn;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto record = platform::KeychainRecord::parse(fuzz::asText(data, size));
  if (!record) return 0;
  fuzz::require(record->place != platform::KeychainPlace::memory);
  fuzz::require(platform::KeychainRecord::parse(record->text()) == record);
  return 0;
}

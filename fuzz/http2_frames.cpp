// SPDX-License-Identifier: MIT
// What a server sends over HTTP/2: cut into pieces anywhere, it must read the same.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include <IdlewynKit/platform/net/internal/HTTP2Ledger.hpp>

#include "support/Require.hpp"

using idlewyn::fuzz::require;
using idlewyn::platform::HTTP2Ledger;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(bytes), size);
  constexpr int streams = 3;
  HTTP2Ledger whole, parted;
  for (int i = 0; i < streams; ++i) {
    whole.openStream();
    parted.openStream();
  }
  whole.take(input);
  const std::size_t step = size == 0 ? 1 : 1 + bytes[0] % 16;
  for (std::size_t at = 0; at < size; at += step)
    parted.take(input.substr(at, step));
  require(whole.isGoingAway() == parted.isGoingAway());
  for (std::uint32_t number = 1; number < 2 * streams; number += 2) {
    require(whole.isUnprocessed(number) == parted.isUnprocessed(number));
    const HTTP2Ledger::Stream one = whole.closeStream(number), other = parted.closeStream(number);
    require(one.isEnded == other.isEnded && one.contentSize == other.contentSize);
    require(one.contentSize <= size);
  }
  return 0;
}

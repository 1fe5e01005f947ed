// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string_view>

/// What every fuzz target needs.
namespace idlewyn::fuzz {

/// Ends the run when a property does not hold; the fuzzer then keeps the input.
inline void require(bool holds) {
  if (!holds) std::abort();
}

inline std::string_view asText(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

}  // namespace idlewyn::fuzz

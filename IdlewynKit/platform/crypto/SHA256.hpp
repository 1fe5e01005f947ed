// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include <IdlewynKit/Export.hpp>

namespace idlewyn::platform {

/// The SHA-256 digest (FIPS 180-4) of the bytes, in digest order.
IDLEWYNKIT_EXPORT std::array<std::uint8_t, 32> sha256(std::span<const std::uint8_t> bytes);

}  // namespace idlewyn::platform

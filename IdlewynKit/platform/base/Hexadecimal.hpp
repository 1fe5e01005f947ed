// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include <IdlewynKit/Export.hpp>

namespace idlewyn::platform {

/// Two lower-case hexadecimal digits a byte, in order, without separators.
IDLEWYNKIT_EXPORT std::string hexadecimal(std::span<const std::uint8_t> bytes);

}  // namespace idlewyn::platform

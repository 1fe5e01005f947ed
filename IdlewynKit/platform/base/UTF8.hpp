// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include <IdlewynKit/Export.hpp>

namespace idlewyn::platform {

/// True when the bytes are well-formed UTF-8 (RFC 3629: no overlong forms, no surrogates,
/// nothing beyond U+10FFFF).
IDLEWYNKIT_EXPORT bool isValidUTF8(std::string_view text) noexcept;

}  // namespace idlewyn::platform

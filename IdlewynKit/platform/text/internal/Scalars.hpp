// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace idlewyn::platform {

/// A byte that belongs to no code point becomes this plus the byte.
constexpr char32_t firstStrayByte = 0x110000;

/// The code points of a UTF-8 text, one for each stray byte.
std::u32string decodedScalars(std::string_view text);

/// Appends a code point as UTF-8.
void appendScalar(char32_t value, std::string& text);

}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace idlewyn::relay {

/// The text as a QR code in lines of half-block characters, two modules a character, with the
/// quiet zone of four modules. Light modules are drawn, as terminals with a dark background
/// need it. Throws std::runtime_error for texts that are too long.
std::string qrCode(const std::string& text);

}  // namespace idlewyn::relay

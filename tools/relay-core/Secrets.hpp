// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// Random texts that nobody can guess, and how they are compared and kept.
///
///     std::string token = randomToken();            // 256 random bits as 64 hexadecimal digits
///     std::string kept = digestOf(token);           // SHA-256, 64 hexadecimal digits
///     isSameSecret(kept, digestOf(shown));
namespace idlewyn::relay {

/// `length` characters out of an alphabet whose size is a power of two up to 256, from the
/// system's random numbers. Throws std::runtime_error where there are none.
std::string randomText(std::string_view alphabet, std::size_t length);

/// 256 random bits, 64 lower-case hexadecimal digits.
std::string randomToken();

/// SHA-256 as 64 lower-case hexadecimal digits.
std::string digestOf(std::string_view secret);

/// Compares in a time that depends on the lengths only.
bool isSameSecret(std::string_view a, std::string_view b) noexcept;

}  // namespace idlewyn::relay

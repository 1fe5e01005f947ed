// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

/// Two counts put into a sentence that the application may have translated.
///
///     countText("%lld/%lld", 3, 4);   // "3/4"
namespace idlewyn::internal {

/// `format` is looked up by gettext in the application's current domain. A translation may say
/// `%lld` once or twice, or `%1$lld` and `%2$lld` in any order and number, and `%%`; for `lld` also
/// `ld`, `d` or an `i`. One that does anything else, or tells no count, is not used. `format`
/// itself must say `%lld` twice.
std::string countText(const char* format, std::int64_t first, std::int64_t second);

}  // namespace idlewyn::internal

// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include <IdlewynKit/Export.hpp>

/// The Unicode (version 15) operations that the library needs. Bytes that are not UTF-8 count
/// as one U+FFFD each. Texts of ASCII take a fast path.
namespace idlewyn::platform {

/// The whole text in lower case, by the simple case mapping of each code point.
IDLEWYNKIT_EXPORT std::string lowercased(std::string_view text);

/// Calls `visit` with each character as a person counts them: extended grapheme clusters
/// (UAX #29), in order, as slices of `text`.
IDLEWYNKIT_EXPORT void forEachCharacter(std::string_view text,
                                        const std::function<void(std::string_view)>& visit);

/// True for one of 0-9, A-F, a-f or their full-width forms, alone in its character.
IDLEWYNKIT_EXPORT bool isHexDigit(std::string_view character);

/// True when a letter of a right-to-left script is in the text: whoever draws it may then reorder
/// what stands around it (UAX #9).
IDLEWYNKIT_EXPORT bool hasRightToLeft(std::string_view text);

/// The text without leading and trailing space separators (category Zs) and tabs. Line breaks
/// are no spaces.
IDLEWYNKIT_EXPORT std::string_view trimmingSpaces(std::string_view text);

}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/base/Date.hpp>

/// Internet date texts (ISO 8601, the profile of RFC 3339 with capital T and Z).
///
///     auto date = parseISO8601("2026-03-05T14:07:09.250Z", FractionOfSecond::required);
///     appendISO8601(*date, text);   // the same text again
namespace idlewyn::platform {

enum class FractionOfSecond { required, absent };

/// Reads `YYYY-MM-DDThh:mm:ss`, with a point and one to nine digits exactly when `fraction` is
/// required, then `Z`, `+hhmm` or `+hh:mm` (or `-`). Days are checked against the month, hours
/// go to 23, minutes and seconds to 59. Anything else gives no value.
IDLEWYNKIT_EXPORT std::optional<Date> parseISO8601(std::string_view text,
                                                   FractionOfSecond fraction) noexcept;

/// Appends the date in UTC, rounded to the millisecond: always 24 characters,
/// `YYYY-MM-DDThh:mm:ss.mmmZ`. Dates outside the years 0000 to 9999 saturate at the first or
/// last text of that range (infinities too); a date that is not a number is written as
/// `distantPast`. Whatever is appended here can be read by `parseISO8601`.
IDLEWYNKIT_EXPORT void appendISO8601(Date date, std::string& text);

}  // namespace idlewyn::platform

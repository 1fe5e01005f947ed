// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <IdlewynKit/platform/base/Date.hpp>

/// Texts of times that know when they change.
///
///     TimeText shown = timerText(session.turnStartedAt, now, "en_US");   // "4:07"
///     TimeText age = relativeDateText(session.updatedAt, now, "de_DE");  // "2 Std., 14 Min."
namespace idlewyn::platform::internal {

struct TimeText {
  std::string text;
  /// The first instant at which the text is another one, later than now; absent for never.
  std::optional<Date> nextChange;
};

/// A clock that counts up from `start`: minutes and seconds, with hours once one has passed.
/// 0:00 until `start`. `locale` is a name like "de_DE", an encoding after it is ignored;
/// an empty one is the user's. A date that is not a number stays at 0:00.
TimeText timerText(Date start, Date now, std::string_view locale);

/// How far `date` is from now in either direction, in its two largest units. Months and years
/// are the Gregorian calendar's mean ones. A date that is not a number is "–", one more than
/// 10,000 years away is no longer counted.
TimeText relativeDateText(Date date, Date now, std::string_view locale);

}  // namespace idlewyn::platform::internal

// SPDX-License-Identifier: MIT
#pragma once

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/coding/JSONDecoder.hpp>
#include <IdlewynKit/platform/coding/JSONEncoder.hpp>

/// The relay's JSON: the plain coders with dates as ISO 8601 text in UTC with milliseconds.
///
///     auto snapshot = JSONDecoder::relay().decode<SessionSnapshot>(data);
///     Data again = JSONEncoder::relay().encode(snapshot);
namespace idlewyn {

using platform::CodingKey;
using platform::Data;
using platform::DecodingError;
using platform::EncodingError;
using platform::pathText;

class JSONDecoder : public platform::PlainJSONDecoder {
 public:
  /// A new decoder each time. A date is a text with or without a fraction of seconds; another
  /// text is data corrupted with the description "Invalid ISO-8601 date: " and the text.
  IDLEWYNKIT_EXPORT static JSONDecoder relay();
};

class JSONEncoder : public platform::PlainJSONEncoder {
 public:
  /// A new encoder each time. Dates are rounded to the millisecond, saturate at the years 0000
  /// and 9999, and never fail to encode (see `platform::appendISO8601`).
  IDLEWYNKIT_EXPORT static JSONEncoder relay();
};

}  // namespace idlewyn

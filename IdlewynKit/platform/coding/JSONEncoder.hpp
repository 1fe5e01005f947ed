// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/base/Data.hpp>
#include <IdlewynKit/platform/coding/CodedType.hpp>
#include <IdlewynKit/platform/coding/EncodingError.hpp>

/// Writes records and closed sets as compact JSON.
///
///     PlainJSONEncoder encoder;
///     encoder.dateEncodingStrategy = [](Date date, std::string& text) {
///       appendISO8601(date, text);
///     };
///     Data body = encoder.encode(session);
namespace idlewyn::platform {

/// Appends a date's text, which then is written as a JSON string, to an empty `text`.
using DateEncodingStrategy = std::function<void(Date, std::string& text)>;

class PlainJSONEncoder {
 public:
  /// How dates are written. None means a number of seconds since 2001-01-01 UTC.
  DateEncodingStrategy dateEncodingStrategy;

  /// Fields stand in declaration order, empty optional ones are left out; null is never
  /// written. Only what must be escaped is. Numbers are the shortest that read back as the
  /// same double. Throws EncodingError.
  template <Encodable T>
  Data encode(const T& value) const {
    return write(codedType<T>(), &value);
  }

 private:
  IDLEWYNKIT_EXPORT Data write(const CodedType& type, const void* value) const;
};

}  // namespace idlewyn::platform

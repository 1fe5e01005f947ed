// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/base/Data.hpp>
#include <IdlewynKit/platform/coding/CodedType.hpp>
#include <IdlewynKit/platform/coding/DecodingError.hpp>

/// Reads JSON (RFC 8259, UTF-8 without a byte-order mark) into records and closed sets.
///
///     PlainJSONDecoder decoder;
///     decoder.dateDecodingStrategy = [](const SingleValue& value) { return parse(value.text()); };
///     auto points = decoder.decode<std::vector<Point>>(body);
namespace idlewyn::platform {

namespace internal {
struct PathStep;
class ValueReader;
}  // namespace internal

/// The JSON value that a date strategy reads. Valid during that call only.
class SingleValue {
 public:
  /// Throw DecodingError when the value is null or of another JSON type.
  IDLEWYNKIT_EXPORT std::string_view text() const IDLEWYNKIT_LIFETIMEBOUND;
  IDLEWYNKIT_EXPORT double number() const;

  IDLEWYNKIT_EXPORT std::vector<CodingKey> codingPath() const;

  /// The error to throw for a value that has the right type but makes no sense.
  IDLEWYNKIT_EXPORT DecodingError dataCorrupted(std::string description) const;

 private:
  friend class internal::ValueReader;
  enum class Kind : std::uint8_t { text, number, other };

  Kind kind_ = Kind::other;
  std::string_view text_;  ///< What it is called, when it is neither text nor number.
  double number_ = 0;
  bool isTooLarge_ = false;
  const internal::PathStep* path_ = nullptr;
};

/// Gives the date, or throws what `SingleValue` gives; called with every date, null excepted.
/// When a document has a fault it is called a second time for the dates before that fault, and
/// dates behind the first fault may be asked for too.
using DateDecodingStrategy = std::function<Date(const SingleValue&)>;

class PlainJSONDecoder {
 public:
  /// How dates are read. None means a number of seconds since 2001-01-01 UTC.
  DateDecodingStrategy dateDecodingStrategy;

  /// Reads one whole document. Keys that the record does not name are ignored whatever they
  /// hold, of a repeated key the first counts, and null in an optional field is no value. An
  /// integer field takes any number with an integral value that fits ("5.0" too). At most 1,024
  /// levels and 4 GiB.
  ///
  /// Throws DecodingError for the first fault in declaration order, whatever the order in the
  /// text. Spare capacity of 64 bytes in the body's storage saves a copy of it.
  template <Decodable T>
  T decode(const Data& data) const {
    T value = RecordMaker::blank<T>();
    read(data.text(), data.storage.capacity() - data.size(), codedType<T>(), &value);
    return value;
  }
  template <Decodable T>
  T decode(std::string_view text) const {
    T value = RecordMaker::blank<T>();
    read(text, 0, codedType<T>(), &value);
    return value;
  }

 private:
  /// `spare` bytes behind the text may be read.
  IDLEWYNKIT_EXPORT void read(std::string_view text, std::size_t spare, const CodedType& type,
                              void* value) const;
};

}  // namespace idlewyn::platform

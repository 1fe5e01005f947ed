// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <simdjson.h>

#include <IdlewynKit/platform/coding/JSONDecoder.hpp>
#include <IdlewynKit/platform/coding/internal/PathStep.hpp>
#include <IdlewynKit/platform/coding/internal/Shape.hpp>

namespace idlewyn::platform::internal {

/// Fills values from a parsed document, in two ways that agree on everything but speed.
class ValueReader {
 public:
  /// `isNarrowed`: the document has been through `narrowingNumbers`.
  ValueReader(const DateDecodingStrategy& dates, bool isNarrowed) noexcept
      : dates_(dates), isNarrowed_(isNarrowed) {}

  /// Walks each object's members once, in the text's order. False, or an exception of the date
  /// strategy, when there is any fault; the value is then half filled.
  bool readFast(const Shape& shape, simdjson::dom::element element, void* value) const;

  /// Looks the fields up in declaration order, and throws for the first fault. The value must
  /// be blank.
  void readCarefully(const Shape& shape, simdjson::dom::element element, void* value,
                     const PathStep* path) const;

 private:
  bool readRecordFast(const Shape& shape, simdjson::dom::element element, void* value) const;
  bool readFieldFast(const Shape& shape, const KeySlot& slot, simdjson::dom::element element,
                     void* place) const;
  bool readListFast(const Shape& shape, simdjson::dom::element element, void* value) const;
  void readRecord(const Shape& shape, simdjson::dom::element element, void* value,
                  const PathStep* path) const;
  void readList(const Shape& shape, simdjson::dom::element element, void* value,
                const PathStep* path) const;
  bool readNumber(simdjson::dom::element element, double& value) const noexcept;
  double number(simdjson::dom::element element, const PathStep* path) const;
  Date date(simdjson::dom::element element, const PathStep* path) const;

  const DateDecodingStrategy& dates_;
  bool isNarrowed_;
};

}  // namespace idlewyn::platform::internal

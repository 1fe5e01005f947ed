// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <IdlewynKit/platform/coding/JSONEncoder.hpp>
#include <IdlewynKit/platform/coding/internal/OutputBuffer.hpp>
#include <IdlewynKit/platform/coding/internal/PathStep.hpp>
#include <IdlewynKit/platform/coding/internal/Shape.hpp>

namespace idlewyn::platform::internal {

/// Writes values as JSON.
class ValueWriter {
 public:
  ValueWriter(const DateEncodingStrategy& dates, OutputBuffer& json) noexcept
      : dates_(dates), json_(json) {}

  void write(const Shape& shape, const void* value, const PathStep* path);

 private:
  void writeText(std::string_view text, const PathStep* path);
  void writeCarefully(std::string_view text, const PathStep* path);
  void writeCase(const Shape& shape, const void* value, const PathStep* path);
  void writeInteger(std::int64_t value);
  void writeNumber(double value, const PathStep* path);
  void writeDate(Date date, const PathStep* path);
  void writeRecord(const Shape& shape, const void* record, const PathStep* path);
  void writePrefix(const FieldShape& field, char opening);
  void writeList(const Shape& shape, const void* list, const PathStep* path);
  void writeDictionary(const void* dictionary, const PathStep* path);

  const DateEncodingStrategy& dates_;
  OutputBuffer& json_;
  std::string dateText_;
};

}  // namespace idlewyn::platform::internal

// SPDX-License-Identifier: MIT
#include <utility>

#include <IdlewynKit/platform/coding/JSONEncoder.hpp>
#include <IdlewynKit/platform/coding/internal/ValueWriter.hpp>

namespace idlewyn::platform {

Data PlainJSONEncoder::write(const CodedType& type, const void* value) const {
  std::string json;
  internal::OutputBuffer buffer(json);
  internal::ValueWriter(dateEncodingStrategy, buffer)
      .write(internal::shapeOf(type), value, nullptr);
  buffer.flush();
  return Data::ofText(std::move(json));
}

}  // namespace idlewyn::platform

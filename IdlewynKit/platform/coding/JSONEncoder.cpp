// SPDX-License-Identifier: MIT
#include <utility>

#include <IdlewynKit/platform/coding/JSONEncoder.hpp>
#include <IdlewynKit/platform/coding/ValueWriter.hpp>

namespace idlewyn::platform {

Data JSONEncoder::write(const Shape& shape, const void* value) const {
  std::string json;
  OutputBuffer buffer(json);
  ValueWriter(dateEncodingStrategy, buffer).write(shape, value, nullptr);
  buffer.flush();
  return Data::ofText(std::move(json));
}

}  // namespace idlewyn::platform

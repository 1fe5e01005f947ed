// SPDX-License-Identifier: MIT
#include <utility>

#include <IdlewynKit/platform/coding/JSONEncoder.hpp>
#include <IdlewynKit/platform/coding/ValueWriter.hpp>

namespace idlewyn::platform {

Data JSONEncoder::write(const Shape& shape, const void* value) const {
  std::string json;
  json.reserve(256);
  ValueWriter(dateEncodingStrategy, json).write(shape, value, nullptr);
  return Data::ofText(std::move(json));
}

}  // namespace idlewyn::platform

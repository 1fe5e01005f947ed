// SPDX-License-Identifier: MIT
#include <utility>

#include <IdlewynKit/platform/coding/JSONDecoder.hpp>
#include <IdlewynKit/platform/coding/internal/DecodingFaults.hpp>

namespace idlewyn::platform {

std::string_view SingleValue::text() const {
  if (kind_ == Kind::text) return text_;
  throw internal::mismatch("a text", kind_ == Kind::number ? "a number" : text_, path_);
}

double SingleValue::number() const {
  if (kind_ == Kind::number && !isTooLarge_) return number_;
  if (kind_ == Kind::number) throw internal::corrupted(internal::tooLarge, path_);
  throw internal::mismatch("a number", kind_ == Kind::text ? "a text" : text_, path_);
}

std::vector<CodingKey> SingleValue::codingPath() const { return internal::codingPath(path_); }

DecodingError SingleValue::dataCorrupted(std::string description) const {
  return internal::corrupted(std::move(description), path_);
}

}  // namespace idlewyn::platform

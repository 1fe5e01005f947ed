// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include <IdlewynKit/platform/coding/DecodingError.hpp>
#include <IdlewynKit/platform/coding/internal/PathStep.hpp>

namespace idlewyn::platform::internal {

/// The error for an element that is null or of another type than the one expected.
inline DecodingError mismatch(std::string_view expected, std::string_view found,
                              const PathStep* path) {
  std::string text = "Expected ";
  text.append(expected).append(" but found ").append(found).append(".");
  return {found == "null" ? DecodingError::Kind::valueNotFound : DecodingError::Kind::typeMismatch,
          codingPath(path), std::move(text)};
}

inline constexpr const char* tooLarge = "The number is too large.";

inline DecodingError corrupted(std::string description, const PathStep* path) {
  return {DecodingError::Kind::dataCorrupted, codingPath(path), std::move(description)};
}

}  // namespace idlewyn::platform::internal

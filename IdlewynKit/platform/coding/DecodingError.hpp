// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <vector>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/coding/CodingKey.hpp>

/// Why a document could not be read as the type that was asked for.
///
///     try { decoder.decode<std::vector<Point>>(body); }
///     catch (const DecodingError& error) {
///       std::cerr << pathText(error.codingPath) << ": " << error.description << '\n';
///     }
namespace idlewyn::platform {

struct IDLEWYNKIT_EXPORT DecodingError : std::exception {
  enum class Kind : std::uint8_t {
    keyNotFound,    ///< A required key is not in its object: `missingKey` says which.
    valueNotFound,  ///< A required value is null.
    typeMismatch,   ///< A value is of another JSON type.
    dataCorrupted,  ///< No JSON at all (empty path), or a value outside what the type can hold.
  };

  DecodingError(Kind kind, std::vector<CodingKey> codingPath, std::string description,
                std::string missingKey = {});

  /// The description, and behind it the path where there is one.
  const char* what() const noexcept override { return message_.c_str(); }

  friend bool operator==(const DecodingError& a, const DecodingError& b) noexcept {
    return a.kind == b.kind && a.codingPath == b.codingPath && a.description == b.description &&
           a.missingKey == b.missingKey;
  }

  Kind kind;
  /// Where the value stands; for a key that was not found, where the object stands.
  std::vector<CodingKey> codingPath;
  /// One English sentence for a log. What a custom date strategy gave stands here unchanged.
  std::string description;
  /// The key that was not found; empty for every other kind.
  std::string missingKey;

 private:
  std::string message_;
};

}  // namespace idlewyn::platform

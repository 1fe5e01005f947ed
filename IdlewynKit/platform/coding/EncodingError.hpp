// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <string>
#include <vector>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/coding/CodingKey.hpp>

/// Why a value has no JSON form: a text that is not UTF-8, a number that JSON can't hold (an
/// infinity or one that is not a number), or an enumeration's value without an enumerator.
///
///     catch (const EncodingError& error) { log(error.what()); }
namespace idlewyn::platform {

struct IDLEWYNKIT_EXPORT EncodingError : std::exception {
  EncodingError(std::vector<CodingKey> codingPath, std::string description);

  /// The description, and behind it the path where there is one.
  const char* what() const noexcept override { return message_.c_str(); }

  friend bool operator==(const EncodingError& a, const EncodingError& b) noexcept {
    return a.codingPath == b.codingPath && a.description == b.description;
  }

  std::vector<CodingKey> codingPath;
  std::string description;

 private:
  std::string message_;
};

}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <IdlewynKit/Export.hpp>

/// One step of the way from a document's outermost value to a value inside it.
///
///     pathText({CodingKey("sessions"), CodingKey(3), CodingKey("startedAt")});
///     // sessions[3].startedAt
namespace idlewyn::platform {

/// A member's key or, when `index` is present, a place in a list, counted from 0.
struct CodingKey {
  explicit CodingKey(std::string memberKey) : key(std::move(memberKey)) {}
  explicit CodingKey(std::size_t listIndex) : index(listIndex) {}

  friend bool operator==(const CodingKey&, const CodingKey&) = default;

  std::string key;
  std::optional<std::size_t> index;
};

/// The path in one line; empty for the outermost value.
IDLEWYNKIT_EXPORT std::string pathText(const std::vector<CodingKey>& path);

}  // namespace idlewyn::platform

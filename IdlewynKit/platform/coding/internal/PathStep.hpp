// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <IdlewynKit/platform/coding/CodingKey.hpp>

namespace idlewyn::platform::internal {

/// A coding path as it grows on the stack during a walk; copied out only for an error.
struct PathStep {
  const PathStep* parent = nullptr;
  std::string_view key = {};
  std::size_t index = 0;
  bool isIndex = false;
};

inline std::vector<CodingKey> codingPath(const PathStep* step) {
  if (step == nullptr) return {};
  std::vector<CodingKey> path = codingPath(step->parent);
  if (step->isIndex) {
    path.emplace_back(step->index);
  } else {
    path.emplace_back(std::string(step->key));
  }
  return path;
}

}  // namespace idlewyn::platform::internal

// SPDX-License-Identifier: MIT
#include <algorithm>

#include <IdlewynKit/platform/view/Environment.hpp>

namespace idlewyn::platform {

std::any Environment::exchange(std::type_index key, std::any value) {
  const auto found = std::find_if(values_.begin(), values_.end(),
                                  [&](const auto& entry) { return entry.first == key; });
  if (found != values_.end()) return std::exchange(found->second, std::move(value));
  values_.emplace_back(key, std::move(value));
  return {};
}

const std::any* Environment::find(std::type_index key) const noexcept {
  for (const auto& [known, value] : values_) {
    if (known == key) return &value;
  }
  return nullptr;
}

}  // namespace idlewyn::platform

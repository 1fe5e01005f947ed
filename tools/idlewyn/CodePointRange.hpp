// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <span>

namespace idlewyn::command {

/// Both ends belong to it.
struct CodePointRange {
  char32_t first;
  char32_t last;
};

/// The ranges stand in rising order.
constexpr bool contains(std::span<const CodePointRange> ranges, char32_t value) noexcept {
  const auto range = std::ranges::lower_bound(ranges, value, {}, &CodePointRange::last);
  return range != ranges.end() && range->first <= value;
}

}  // namespace idlewyn::command

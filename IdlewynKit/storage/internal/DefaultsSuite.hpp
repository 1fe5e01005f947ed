// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string_view>

#include <IdlewynKit/platform/defaults/UserDefaults.hpp>

namespace idlewyn::internal {

/// The suite's defaults; the process's standard ones when there is no name or the suite can't be
/// opened.
inline platform::UserDefaults defaultsOfSuite(std::optional<std::string_view> name) {
  if (name) {
    if (auto suite = platform::UserDefaults::suite(*name)) return *std::move(suite);
  }
  return platform::UserDefaults::standard();
}

}  // namespace idlewyn::internal

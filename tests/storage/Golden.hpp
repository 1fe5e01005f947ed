// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <tests/support/Files.hpp>

namespace idlewyn::testing {

/// A text of tests/data/golden without its line end.
inline std::string golden(const std::string& name) {
  std::string text = contentOf(IDLEWYN_TEST_DATA "/golden/" + name + ".json");
  EXPECT_FALSE(text.empty()) << name;
  return text.substr(0, text.size() - 1);
}

}  // namespace idlewyn::testing

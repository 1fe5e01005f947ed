// SPDX-License-Identifier: MIT
#include <stdexcept>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/net/URLError.hpp>

#include <tools/idlewyn/failure/Failure.hpp>

namespace idlewyn::command {
namespace {

// The codes of what a relay says, and of several agents, are tested with the command.
TEST(CommandFailure, KnowsWhatRelaysDoNotSay) {
  const platform::URLError late(platform::URLErrorCode::timedOut, std::nullopt, "Why.");
  EXPECT_EQ(describe(std::make_exception_ptr(late)).kind, "timedOut");
  const Failure unknown = describe(std::make_exception_ptr(std::runtime_error("x")));
  EXPECT_EQ(unknown.kind, "failure");
  EXPECT_EQ(static_cast<int>(unknown.code), 1);
}

}  // namespace
}  // namespace idlewyn::command

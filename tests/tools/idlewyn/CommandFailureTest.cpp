// SPDX-License-Identifier: MIT
#include <stdexcept>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/net/URLError.hpp>
#include <IdlewynKit/relay/RelayError.hpp>

#include "tools/idlewyn/Failure.hpp"

namespace idlewyn::command {
namespace {

using platform::URLError;
using platform::URLErrorCode;

std::exception_ptr urlError(URLErrorCode code) {
  return std::make_exception_ptr(URLError(code, std::nullopt, "Why."));
}

// The codes of what a relay says are tested with the command.
TEST(CommandFailure, KnowsWhatRelaysDoNotSay) {
  EXPECT_EQ(describe(urlError(URLErrorCode::timedOut)).kind, "timedOut");
  const Failure unknown = describe(std::make_exception_ptr(std::runtime_error("x")));
  EXPECT_EQ(unknown.kind, "failure");
  EXPECT_EQ(static_cast<int>(unknown.code), 1);
}

TEST(CommandFailure, GivesTheCommonCodeOnlyWhenAllAgentsFailedAlike) {
  const auto timedOut = urlError(URLErrorCode::timedOut);
  const auto lost = urlError(URLErrorCode::networkConnectionLost);
  const auto refused = std::make_exception_ptr(RelayError::unauthorized());
  constexpr auto claude = AgentProvider::claude;
  constexpr auto codex = AgentProvider::codex;
  EXPECT_EQ(exitCodeOf({}, 2), ExitCode::ok);
  EXPECT_EQ(exitCodeOf({{claude, timedOut}, {codex, lost}}, 2), ExitCode::network);
  EXPECT_EQ(exitCodeOf({{claude, timedOut}, {codex, refused}}, 2), ExitCode::someAgentsFailed);
}

}  // namespace
}  // namespace idlewyn::command

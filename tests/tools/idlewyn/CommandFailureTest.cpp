// SPDX-License-Identifier: MIT
#include <map>
#include <vector>

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

TEST(CommandFailure, GivesEachErrorItsCodeAndKind) {
  struct Row {
    std::exception_ptr error;
    int code;
    std::string kind;
  };
  const std::vector<Row> rows{
      {std::make_exception_ptr(RelayError::unauthorized()), 4, "unauthorized"},
      {std::make_exception_ptr(RelayError::certificateMismatch()), 10, "certificateMismatch"},
      {std::make_exception_ptr(RelayError::promptExpired()), 11, "promptExpired"},
      {std::make_exception_ptr(RelayError::tooManyAttempts()), 12, "tooManyAttempts"},
      {std::make_exception_ptr(RelayError::invalidResponse()), 13, "invalidResponse"},
      {std::make_exception_ptr(RelayError::server(503)), 14, "server"},
      {urlError(URLErrorCode::timedOut), 20, "timedOut"},
      {urlError(URLErrorCode::cannotConnectToHost), 20, "network"},
      {std::make_exception_ptr(interruption()), 130, "interrupted"},
      {std::make_exception_ptr(usageFailure("x")), 2, "usage"},
      {std::make_exception_ptr(std::runtime_error("x")), 1, "failure"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(static_cast<int>(describe(row.error).code), row.code) << row.kind;
    EXPECT_EQ(describe(row.error).kind, row.kind);
    EXPECT_FALSE(describe(row.error).message.empty());
  }
}

TEST(CommandFailure, GivesTheCommonCodeOnlyWhenAllAgentsFailedAlike) {
  const auto timedOut = urlError(URLErrorCode::timedOut);
  const auto lost = urlError(URLErrorCode::networkConnectionLost);
  const auto refused = std::make_exception_ptr(RelayError::unauthorized());
  constexpr auto claude = AgentProvider::claude;
  constexpr auto codex = AgentProvider::codex;
  EXPECT_EQ(exitCodeOf({}, 2), ExitCode::ok);
  EXPECT_EQ(exitCodeOf({{claude, refused}}, 1), ExitCode::unauthorized);
  EXPECT_EQ(exitCodeOf({{claude, refused}}, 2), ExitCode::someAgentsFailed);
  EXPECT_EQ(exitCodeOf({{claude, timedOut}, {codex, lost}}, 2), ExitCode::network);
  EXPECT_EQ(exitCodeOf({{claude, timedOut}, {codex, refused}}, 2), ExitCode::someAgentsFailed);
}

}  // namespace
}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#include <tools/idlewyn/failure/Failure.hpp>

#include <IdlewynKit/errors/Problem.hpp>
#include <IdlewynKit/platform/text/DisplayText.hpp>
#include <IdlewynKit/relay/RelayError.hpp>

namespace idlewyn::command {
namespace {

struct Exit {
  ExitCode code;
  const char* kind;
};

Exit exitOf(Problem problem) {
  switch (problem) {
    case Problem::pairAgain: return {ExitCode::unauthorized, "unauthorized"};
    case Problem::wrongCertificate: return {ExitCode::certificateMismatch, "certificateMismatch"};
    case Problem::promptGone: return {ExitCode::promptExpired, "promptExpired"};
    case Problem::tooOften: return {ExitCode::tooManyAttempts, "tooManyAttempts"};
    case Problem::notUnderstood: return {ExitCode::invalidResponse, "invalidResponse"};
    case Problem::relayFailed: return {ExitCode::serverStatus, "server"};
    case Problem::tooLate: return {ExitCode::network, "timedOut"};
    case Problem::network:
    case Problem::badAddress:
    case Problem::untrustedCertificate:
    case Problem::cancelled: return {ExitCode::network, "network"};
    default: return {ExitCode::failure, "failure"};
  }
}

}  // namespace

Failure usageFailure(std::string message) { return {ExitCode::usage, "usage", std::move(message)}; }

Failure interruption() { return {ExitCode::interrupted, "interrupted", "Interrupted."}; }

Failure describe(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const Failure& failure) {
    return failure;
  } catch (...) {
    const Exit exit = exitOf(problemOf(error));
    return {exit.code, exit.kind, displayLine(errorDescription(error))};
  }
}

ExitCode exitCodeOf(const std::map<AgentProvider, std::exception_ptr>& errors, std::size_t agents) {
  if (errors.empty()) return ExitCode::ok;
  const ExitCode first = describe(errors.begin()->second).code;
  bool alike = errors.size() >= agents;
  for (const auto& [provider, error] : errors)
    alike = alike && describe(error).code == first;
  return alike ? first : ExitCode::someAgentsFailed;
}

}  // namespace idlewyn::command

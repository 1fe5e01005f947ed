// SPDX-License-Identifier: MIT
#include <tools/idlewyn/failure/Failure.hpp>

#include <IdlewynKit/platform/net/URLError.hpp>
#include <IdlewynKit/platform/text/DisplayText.hpp>
#include <IdlewynKit/relay/RelayError.hpp>

namespace idlewyn::command {
namespace {

Failure describeRelayError(const RelayError& error) {
  const std::string message = error.errorDescription();
  switch (error.kind()) {
    case RelayError::Kind::server: return {ExitCode::serverStatus, "server", message};
    case RelayError::Kind::invalidResponse:
      return {ExitCode::invalidResponse, "invalidResponse", message};
    case RelayError::Kind::unauthorized: return {ExitCode::unauthorized, "unauthorized", message};
    case RelayError::Kind::promptExpired:
      return {ExitCode::promptExpired, "promptExpired", message};
    case RelayError::Kind::certificateMismatch:
      return {ExitCode::certificateMismatch, "certificateMismatch", message};
    case RelayError::Kind::tooManyAttempts:
      return {ExitCode::tooManyAttempts, "tooManyAttempts", message};
  }
  return {ExitCode::failure, "failure", message};
}

Failure describeURLError(const platform::URLError& error) {
  const bool isLate = error.code == platform::URLErrorCode::timedOut;
  return {ExitCode::network, isLate ? "timedOut" : "network", displayLine(error.reason)};
}

}  // namespace

Failure usageFailure(std::string message) { return {ExitCode::usage, "usage", std::move(message)}; }

Failure interruption() { return {ExitCode::interrupted, "interrupted", "Interrupted."}; }

Failure describe(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const Failure& failure) {
    return failure;
  } catch (const RelayError& relayError) {
    return describeRelayError(relayError);
  } catch (const platform::URLError& urlError) {
    return describeURLError(urlError);
  } catch (const std::exception& other) {
    return {ExitCode::failure, "failure", displayLine(other.what())};
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

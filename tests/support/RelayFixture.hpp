// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <variant>

#include <IdlewynKit/IdlewynKit.hpp>
#include <tools/sandbox-relay/SandboxRelay.hpp>

/// What tests over a sandbox relay share.
namespace idlewyn::testing {

inline sandbox::Options plainHTTP(std::string prefix = "") {
  sandbox::Options options;
  options.tls = false;
  options.pathPrefix = std::move(prefix);
  return options;
}

inline LiveSessionService liveService() {
  return LiveSessionService(RelayClient(URLSession::shared()));
}

/// A connection without having paired, pinned when the relay speaks TLS.
inline Connection connectionTo(sandbox::SandboxRelay& relay,
                               AgentProvider provider = AgentProvider::claude) {
  const std::string pin = relay.fingerprint();
  return Connection(provider, relay.address(), relay.issueToken(provider), "account", Date{},
                    pin.empty() ? std::nullopt : std::optional(pin));
}

/// "ok" for no error, the sentence of a RelayError or the number of a URLError.
inline std::string errorText(const std::exception_ptr& failure) {
  try {
    if (failure) std::rethrow_exception(failure);
    return "ok";
  } catch (const RelayError& error) {
    return error.errorDescription();
  } catch (const URLError& error) {
    return std::to_string(static_cast<int>(error.code));
  } catch (const std::exception& error) {
    return std::string("another error: ") + error.what();
  }
}

/// What an operation ended with, as such a text.
template <class Operation>
std::string outcomeOf(Operation&& operation) {
  try {
    wait(operation());
  } catch (...) {
    return errorText(std::current_exception());
  }
  return "ok";
}

inline std::string headerOf(const sandbox::RecordedRequest& request, std::string_view name) {
  for (const auto& [key, value] : request.headers) {
    if (key == name) return value;
  }
  return "(none)";
}

}  // namespace idlewyn::testing

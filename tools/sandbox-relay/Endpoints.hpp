// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "HTTP.hpp"
#include "RelayState.hpp"

/// The relay's interface over HTTP: requests in, answers out.
///
///     Endpoints endpoints(state, "robin");
///     HTTPAnswer answer = endpoints.answer(request, "v1/sessions", "provider=claude");
namespace idlewyn::sandbox {

class Endpoints {
 public:
  /// `account` is the name that a paired client is told.
  Endpoints(RelayState& state, std::string account);

  /// `path` and `query` as they stand in the target, percent-encoded, without the relay's
  /// prefix. Bad requests become answers of the 400s; nothing is thrown for them.
  HTTPAnswer answer(const HTTPRequest& request, std::string_view path,
                    std::string_view query) const;

 private:
  struct Call;
  struct Route;

  HTTPAnswer run(const Route& route, const HTTPRequest& request, std::string_view path,
                 std::string_view query) const;
  HTTPAnswer pair(const Call& call) const;
  HTTPAnswer sessions(const Call& call) const;
  HTTPAnswer decide(const Call& call) const;
  HTTPAnswer settings(const Call& call) const;
  HTTPAnswer changeSettings(const Call& call) const;
  HTTPAnswer keepPushToken(const Call& call) const;
  HTTPAnswer unpair(const Call& call) const;

  RelayState& state_;
  const std::string account_;
};

/// The token of "Authorization: Bearer TOKEN", if there is one.
std::optional<std::string> bearerToken(const HTTPRequest& request);

/// The first value of that name in a percent-encoded query.
std::optional<std::string> queryValue(std::string_view query, std::string_view name);

/// `{"error":"reason"}`; the reason is our own text and needs no escaping.
HTTPAnswer errorAnswer(int status, std::string_view reason);

/// 405 with the methods that are allowed.
HTTPAnswer methodNotAllowed(std::string allowed);

}  // namespace idlewyn::sandbox

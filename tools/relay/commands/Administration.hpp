// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include <tools/relay/agents/Json.hpp>
#include <tools/relay/state/LiveRelay.hpp>

/// What the person at the machine asks of the relay, as JSON in and JSON out. The running relay
/// answers it over its control socket; without one the command itself does, under the folder's
/// lock.
///
///     {"command":"away"}                         -> {"away":true,...}
///     {"command":"revoke","device":"A2B3C4D5"}   -> {"revoked":true} or {"error":"..."}
namespace idlewyn::relay {

/// Where a running relay answers.
struct Running {
  std::string host;
  std::uint16_t port = 0;
  bool isEncrypted = true;
};

class Administration {
 public:
  /// `running` is null where no relay runs. Everything outlives the object.
  Administration(StateFile& file, LiveRelay& relay, const Running* running)
      : file_(file), relay_(relay), running_(running) {}

  /// Never throws: what goes wrong is the member "error".
  json::Object answer(const json::Object& request);

 private:
  json::Object run(const json::Object& request);
  json::Object status() const;
  json::Object devices() const;
  json::Object rules() const;
  json::Object link(const json::Object& request);

  StateFile& file_;
  LiveRelay& relay_;
  const Running* running_;
};

/// `https://host:port` where devices reach the relay: the address of its setup, or else the one
/// that it listens on.
std::string addressOf(const state::State& state, const std::string& scheme);

}  // namespace idlewyn::relay

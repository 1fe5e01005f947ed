// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// The first steps on the machine where the agents run.
namespace idlewyn::relay {

/// The relay's documented port; the next free one is taken where another program has it.
constexpr std::uint16_t usualPort = 8317;

struct SetupOptions {
  std::string folder;
  /// The address to listen on.
  std::optional<std::string> listen;
  /// Where devices reach the relay, as a URL.
  std::optional<std::string> address;
  bool noService = false;
};

/// Decides where the relay is reached, by options or by asking on a terminal, makes its
/// certificate, and has the service manager start it. True when a relay is then running. Throws
/// std::runtime_error with the next step.
bool setUp(const SetupOptions& options);

/// A free port at that address, from the usual one on; 0 when none of them is free.
std::uint16_t freePort(const std::string& host);

}  // namespace idlewyn::relay

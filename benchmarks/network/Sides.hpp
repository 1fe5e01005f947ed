// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace idlewyn::bench {

/// A server to fetch sessions from; without a pin for plain http. It listens on all of the
/// loopback's addresses, and so stands for as many relays as are wanted.
struct Relay {
  std::string address;
  std::string pin;
};

/// The address of one of the relays for which a server stands, counted from 0.
std::string addressOf(const Relay& relay, std::size_t number);
/// The address of a relay's sessions.
std::string sessionsAddress(const std::string& address);

/// A way to fetch the answers of `count` different relays at once. Keeps its connections from one
/// call to the next, and ends the program when a fetch fails.
using Fetch = std::function<void(std::size_t count)>;

/// "library" takes a snapshot, "raw" uses libcurl alone, "decoding" reads in addition what the
/// answers say, by the library's decoder. The first call is a cold one.
Fetch makeSide(const std::string& name, const Relay& relay);

}  // namespace idlewyn::bench

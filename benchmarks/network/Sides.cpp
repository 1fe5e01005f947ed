// SPDX-License-Identifier: MIT
#include "network/Sides.hpp"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include <IdlewynKit/IdlewynKit.hpp>
#include <IdlewynKit/relay/internal/Validation.hpp>
#include <IdlewynKit/relay/internal/WireRecords.hpp>

#include "network/RawFetch.hpp"
#include "support/Ratio.hpp"

namespace idlewyn::bench {
namespace {

using Connections = std::vector<Connection>;

void snapshot(Connections& connections, const Relay& relay, std::size_t count) {
  std::optional<std::string> pin;
  if (!relay.pin.empty()) pin = relay.pin;
  for (std::size_t i = connections.size(); i < count; ++i) {
    connections.emplace_back(AgentProvider::claude, *URL::parse(addressOf(relay, i)), "token",
                             "account", Date(), pin);
  }
  const LiveSessionService service{RelayClient(URLSession::shared())};
  const auto end = connections.begin() + static_cast<std::ptrdiff_t>(count);
  const SnapshotResult result =
      wait(service.snapshot(Connections(connections.begin(), end), SessionSnapshot::empty()));
  if (result.errors.empty() && result.snapshot.sessions.size() >= count) return;
  std::fprintf(stderr, "a snapshot failed: %s\n",
               result.errors.empty() ? "no sessions"
                                     : errorDescription(result.errors.begin()->second).c_str());
  std::exit(2);
}

void decode(std::vector<std::string> bodies) {
  std::vector<AgentSession> all;
  for (std::string& body : bodies) {
    auto sessions =
        internal::decodedAnswer<internal::SessionsResponse>(Data::ofText(std::move(body))).sessions;
    all.insert(all.end(), std::make_move_iterator(sessions.begin()),
               std::make_move_iterator(sessions.end()));
  }
  keep(all);
}

}  // namespace

std::string addressOf(const Relay& relay, std::size_t number) {
  constexpr std::string_view first = "127.0.0.1";
  const std::size_t at = relay.address.find(first);
  const std::string host =
      "127.0." + std::to_string(number / 250) + "." + std::to_string(1 + number % 250);
  return std::string(relay.address).replace(at, first.size(), host);
}

std::string sessionsAddress(const std::string& address) {
  return address + "/v1/sessions?provider=claude";
}

Fetch makeSide(const std::string& name, const Relay& relay) {
  if (name == "library") {
    const auto connections = std::make_shared<Connections>();
    return [=](std::size_t count) { snapshot(*connections, relay, count); };
  }
  auto raw = std::make_shared<RawFetch>(
      [relay](std::size_t i) { return sessionsAddress(addressOf(relay, i)); }, relay.pin);
  if (name == "raw") return [=](std::size_t count) { keep(raw->fetch(count)); };
  return [=](std::size_t count) { decode(raw->fetch(count)); };
}

}  // namespace idlewyn::bench

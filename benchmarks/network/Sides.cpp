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

void snapshot(const Connection& connection, std::size_t count) {
  const LiveSessionService service{RelayClient(URLSession::shared())};
  const SnapshotResult result =
      wait(service.snapshot(std::vector(count, connection), SessionSnapshot::empty()));
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

std::string sessionsAddress(const Relay& relay) {
  return relay.address + "/v1/sessions?provider=claude";
}

Fetch makeSide(const std::string& name, const Relay& relay) {
  if (name == "library") {
    std::optional<std::string> pin;
    if (!relay.pin.empty()) pin = relay.pin;
    const Connection connection(AgentProvider::claude, *URL::parse(relay.address), "token",
                                "account", Date(), pin);
    return [=](std::size_t count) { snapshot(connection, count); };
  }
  auto raw = std::make_shared<RawFetch>(sessionsAddress(relay), relay.pin);
  if (name == "raw") return [=](std::size_t count) { keep(raw->fetch(count)); };
  return [=](std::size_t count) { decode(raw->fetch(count)); };
}

}  // namespace idlewyn::bench

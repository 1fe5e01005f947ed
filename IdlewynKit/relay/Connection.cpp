// SPDX-License-Identifier: MIT
#include <IdlewynKit/relay/Connection.hpp>

#include <utility>

namespace idlewyn {

Connection::Connection(AgentProvider agent, std::optional<URL> server, std::string token,
                       std::string account, Date connected, std::optional<std::string> pin)
    : provider(agent),
      serverURL(std::move(server)),
      accessToken(std::move(token)),
      accountName(std::move(account)),
      connectedAt(connected),
      certificatePin(std::move(pin)) {}

Connection::Connection() : serverURL(URL::parse("unpaired:")) {}

Connection Connection::demo(AgentProvider provider) {
  return Connection(provider, std::nullopt, "mock", "Demo", DateClock::now(), std::nullopt);
}

}  // namespace idlewyn

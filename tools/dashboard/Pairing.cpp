// SPDX-License-Identifier: MIT
#include <tools/dashboard/Pairing.hpp>

#include <algorithm>
#include <exception>
#include <thread>
#include <utility>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>

#include <IdlewynKit/IdlewynKit.hpp>
#include <IdlewynKit/glib/Executor.hpp>

#include <tools/idlewyn/failure/Failure.hpp>
#include <tools/idlewyn/pairings/SharedConnections.hpp>
#include <tools/idlewyn/relays/RelayAddress.hpp>

namespace dashboard {
namespace {

using namespace idlewyn;
using command::describe;
using command::SharedConnections;

// The window stands still while another process holds the list.
constexpr std::chrono::milliseconds longestLock{500};

SharedConnections sharedConnections() {
  return {ConnectionStore::shared(),
          [](std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }, longestLock};
}

std::string trimmed(const std::string& text) {
  constexpr const char* blanks = " \t\r\n";
  const auto begin = text.find_first_not_of(blanks);
  return begin == std::string::npos ? ""
                                    : text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

std::optional<Connection> replace(const Connection& connection) {
  std::optional<Connection> replaced;
  sharedConnections().update([&](std::vector<Connection>& connections) {
    std::erase_if(connections, [&](const Connection& old) {
      if (old.provider != connection.provider) return false;
      replaced = old;
      return true;
    });
    connections.push_back(connection);
  });
  return replaced;
}

// A pin that fits no certificate: the handshake ends once the certificate was seen.
boost::asio::awaitable<void> look(PairingLink link, Looked looked) {
  const auto delegate = std::make_shared<PinningDelegate>(std::string());
  platform::URLRequest request(link.serverURL);
  request.timeoutInterval = std::chrono::seconds(10);
  std::string error = "The server shows no certificate.";
  try {
    co_await URLSession::ephemeral(delegate)->data(std::move(request));
  } catch (const std::exception&) {
    error = describe(std::current_exception()).message;
  }
  link.certificatePin = delegate->seen();
  looked(link, link.certificatePin ? "" : error);
}

// A connection that could not be saved must not leave a token behind at the relay.
boost::asio::awaitable<std::exception_ptr> keep(LiveSessionService service, Connection connection) {
  std::exception_ptr failure;
  std::optional<Connection> ended;
  try {
    ended = replace(connection);
  } catch (const std::exception&) {
    failure = std::current_exception();
    ended = connection;
  }
  try {
    if (ended && !ended->isDemo()) co_await service.unpair(*ended);
  } catch (const std::exception&) {
    // The relay can't be reached or knows the token no more; the new pairing stands.
  }
  co_return failure;
}

boost::asio::awaitable<void> pair(PairingLink link, std::function<void(PairingOutcome)> done) {
  const LiveSessionService service{RelayClient(URLSession::shared())};
  PairingOutcome outcome;
  for (const AgentProvider provider : platform::allCases<AgentProvider>()) {
    std::exception_ptr failure;
    try {
      const Connection connection =
          co_await service.pair(provider, link.serverURL, link.code, link.certificatePin);
      failure = co_await keep(service, connection);
    } catch (const std::exception&) {
      failure = std::current_exception();
    }
    const std::string name(displayName(provider));
    if (failure) {
      outcome.failures.push_back(name + ": " + describe(failure).message);
    } else {
      outcome.paired.push_back(name);
    }
  }
  done(std::move(outcome));
}

}  // namespace

bool isPairingLink(const std::string& text) {
  const auto url = URL::parse(trimmed(text));
  return url && url->lowercasedScheme() == "idlewyn";
}

PairingLink readOffer(const std::string& text, const std::string& code) {
  const std::string given = trimmed(text);
  if (given.empty())
    throw command::usageFailure("Enter the pairing link that the relay shows, or its address.");
  if (isPairingLink(given)) {
    auto link = PairingLink::parse(*URL::parse(given));
    if (!link)
      throw command::usageFailure(
          "That is not a complete pairing link. Copy it again from the relay.");
    return *std::move(link);
  }
  const URL address = command::parseRelayAddress(given);
  std::string bare = trimmed(code);
  if (bare.empty())
    throw command::usageFailure("Enter the pairing code that the relay shows as well.");
  return {address, std::move(bare), std::nullopt};
}

void lookAt(PairingLink link, Looked looked) {
  if (link.certificatePin || link.serverURL.lowercasedScheme() == "http")
    return looked(std::move(link), "");
  boost::asio::co_spawn(glib::Executor(), look(std::move(link), std::move(looked)),
                        boost::asio::detached);
}

void pairAll(PairingLink link, std::function<void(PairingOutcome)> done) {
  try {
    sharedConnections().prepare();  // a list that can't be changed must not cost the code
  } catch (const std::exception&) {
    return done({{}, {describe(std::current_exception()).message}});
  }
  boost::asio::co_spawn(glib::Executor(), pair(std::move(link), std::move(done)),
                        boost::asio::detached);
}

std::vector<Connection> pairedAgents() { return sharedConnections().load(); }

}  // namespace dashboard

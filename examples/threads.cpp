// SPDX-License-Identifier: MIT
// What docs/threads.md explains: operations on one's own loop, several at once, given up.
//
//     threads 'idlewyn://pair?url=...'
#include <chrono>
#include <future>
#include <iostream>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/use_future.hpp>

#include <IdlewynKit/IdlewynKit.hpp>

using namespace idlewyn;
namespace asio = boost::asio;

namespace {

// region loop
asio::awaitable<void> countSessions(LiveSessionService service, Connection connection) {
  const std::vector<AgentSession> sessions = co_await service.sessions(connection);
  std::cout << sessions.size() << " sessions\n";
}

void onOneLoop(const LiveSessionService& service, const Connection& connection) {
  asio::io_context loop;
  asio::co_spawn(loop, countSessions(service, connection), [](std::exception_ptr error) {
    if (error) std::cerr << errorDescription(error) << "\n";
  });
  loop.run();  // everything above runs in here, on this thread
}
// end region

// region pool
std::size_t onPool(const LiveSessionService& service, const Connection& connection) {
  asio::thread_pool pool(2);
  std::future<std::vector<AgentSession>> sessions =
      asio::co_spawn(pool, service.sessions(connection), asio::use_future);
  return sessions.get().size();  // throws what the operation threw
}
// end region

// region cancel
// Gives a snapshot in any case: what was not answered in time is an error of its agent.
SnapshotResult snapshotWithin(std::chrono::milliseconds patience, const LiveSessionService& service,
                              const std::vector<Connection>& connections) {
  asio::io_context loop;
  asio::cancellation_signal giveUp;
  SnapshotResult result;
  asio::steady_timer timer(loop, patience);
  timer.async_wait([&](boost::system::error_code stopped) {
    if (!stopped) giveUp.emit(asio::cancellation_type::terminal);
  });
  asio::co_spawn(loop, service.snapshot(connections, SessionSnapshot::empty()),
                 asio::bind_cancellation_slot(
                     giveUp.slot(), [&](std::exception_ptr error, SnapshotResult fetched) {
                       timer.cancel();
                       if (!error) result = std::move(fetched);
                     }));
  loop.run();
  return result;
}
// end region

}  // namespace

int main(int argc, char** argv) {
  const auto url = argc == 2 ? URL::parse(argv[1]) : std::nullopt;
  const auto link = url ? PairingLink::parse(*url) : std::nullopt;
  if (!link) return 2;
  try {
    const LiveSessionService service{RelayClient(URLSession::shared())};
    const Connection connection =
        wait(service.pair(AgentProvider::codex, link->serverURL, link->code, link->certificatePin));
    onOneLoop(service, connection);
    std::cout << onPool(service, connection) << " on a pool\n";
    const SnapshotResult result =
        snapshotWithin(std::chrono::milliseconds(200), service, {connection});
    for (const auto& [provider, error] : result.errors) {
      std::cout << displayName(provider) << ": " << errorDescription(error) << "\n";
    }
    std::cout << result.snapshot.sessions.size() << " in time\n";
    return 0;
  } catch (const std::exception&) {
    std::cerr << errorDescription(std::current_exception()) << "\n";
    return 1;
  }
}

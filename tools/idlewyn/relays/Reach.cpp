// SPDX-License-Identifier: MIT
#include <tools/idlewyn/relays/Reach.hpp>

#include <tools/idlewyn/relays/Relays.hpp>
#include <tools/idlewyn/relays/RelaysLoop.hpp>

namespace idlewyn::command {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;

constexpr auto limit = std::chrono::seconds(5);

// What the timer's handler may still touch when the coroutine has ended.
struct Attempt {
  explicit Attempt(const asio::any_io_executor& executor)
      : resolver(executor), socket(executor), timer(executor) {}

  tcp::resolver resolver;
  tcp::socket socket;
  asio::steady_timer timer;
  bool isLate = false;
};

asio::awaitable<void> reach(std::string host, std::string port, Reach& reach) {
  const auto attempt = std::make_shared<Attempt>(co_await asio::this_coro::executor);
  attempt->timer.expires_after(limit);
  attempt->timer.async_wait([attempt](const boost::system::error_code& error) {
    if (error) return;
    attempt->isLate = true;
    attempt->resolver.cancel();
    attempt->socket.close();
  });
  boost::system::error_code error;
  const auto found = co_await attempt->resolver.async_resolve(
      host, port, asio::redirect_error(asio::use_awaitable, error));
  if (!error) {
    for (const auto& entry : found)
      reach.addresses.push_back(entry.endpoint().address().to_string());
    const auto endpoint = co_await asio::async_connect(
        attempt->socket, found, asio::redirect_error(asio::use_awaitable, error));
    if (!error) reach.connected = endpoint.address().to_string();
  }
  attempt->timer.cancel();
  if (!error) co_return;
  reach.error = attempt->isLate ? "no answer in time" : error.message();
  reach.isLate = attempt->isLate || error == asio::error::timed_out;
  reach.isRefused = !reach.isLate && error == asio::error::connection_refused;
}

}  // namespace

Reach Relays::reach(const std::string& host, const std::string& port) {
  Reach result;
  loop().run(command::reach(host, port, result));
  return result;
}

}  // namespace idlewyn::command

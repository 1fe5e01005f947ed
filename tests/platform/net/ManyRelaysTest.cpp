// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <boost/asio/use_future.hpp>
#include <future>

#include <IdlewynKit/platform/net/internal/StartGate.hpp>

#include "tests/platform/net/NetSupport.hpp"

namespace idlewyn::testing {
namespace {

using namespace std::chrono_literals;
using Outcomes = std::vector<std::future<URLSession::Outcome>>;

/// Takes connections on all addresses of the loopback, and says nothing.
class SilentServer {
 public:
  SilentServer() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    sockaddr_in name{AF_INET, 0, {htonl(INADDR_ANY)}, {}};
    socklen_t size = sizeof name;
    auto* const address = reinterpret_cast<sockaddr*>(&name);
    const bool listens = bind(socket_, address, size) == 0 && listen(socket_, 4096) == 0;
    EXPECT_TRUE(listens && getsockname(socket_, address, &size) == 0);
    port_ = ntohs(name.sin_port);
  }
  ~SilentServer() { close(socket_); }
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;

  std::string address(std::size_t number) const {
    return "http://127.0." + std::to_string(number / 250) + "." + std::to_string(1 + number % 250) +
           ":" + std::to_string(port_) + "/";
  }
  /// How many connections have come.
  std::size_t connections() {
    std::size_t count = 0;
    for (int accepted; (accepted = ::accept(socket_, nullptr, nullptr)) >= 0; ++count)
      close(accepted);
    return count;
  }

 private:
  int socket_, port_ = 0;
};

Outcomes askAll(boost::asio::thread_pool& pool, const std::shared_ptr<URLSession>& session,
                const SilentServer& server, std::size_t count, std::chrono::milliseconds timeout) {
  Outcomes outcomes;
  for (std::size_t i = 0; i < count; ++i) {
    URLRequest request = requestFor(server.address(i));
    request.timeoutInterval = timeout;
    outcomes.push_back(
        co_spawn(pool, session->exchange(std::move(request)), boost::asio::use_future));
  }
  return outcomes;
}

TEST(ManyRelays, AreAskedAFewAtATimeAndTheRestIsSaidNotToHaveBeen) {
  constexpr std::size_t beyond = 100, count = 2 * StartGate::mostBegun + beyond;
  SilentServer server;
  boost::asio::thread_pool pool(1);
  std::size_t unsent = 0;
  for (auto& outcome : askAll(pool, URLSession::ephemeral(), server, count, 1500ms)) {
    const auto error = std::get<URLError>(outcome.get());
    EXPECT_EQ(error.code, URLErrorCode::timedOut);
    if (error.reason != "The request timed out.") ++unsent;
  }
  EXPECT_GE(unsent, beyond);
  EXPECT_LT(unsent, count - StartGate::mostBegun + 1);
  EXPECT_EQ(server.connections(), count - unsent) << "who was not asked is not said to be silent";
}

TEST(ManyRelays, ThatAreSilentHoldUpNobodyElseForLong) {
  SilentServer silent;
  RawServer good;
  const auto session = URLSession::ephemeral();
  boost::asio::thread_pool pool(1);
  auto outcomes = askAll(pool, session, silent, StartGate::mostBegun + 1, 4s);
  URLRequest request = requestFor(good.url("/"));
  request.timeoutInterval = 3s;
  EXPECT_EQ(describe(exchange(session, request)), "200 ok");
  for (auto& outcome : outcomes)
    EXPECT_EQ(describe(outcome.get()), "-1001");
}

}  // namespace
}  // namespace idlewyn::testing

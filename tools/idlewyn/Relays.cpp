// SPDX-License-Identifier: MIT
#include "Relays.hpp"

#include <csignal>
#include <utility>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "Failure.hpp"

namespace idlewyn::command {
namespace {

namespace asio = boost::asio;

asio::awaitable<void> sleep(std::chrono::duration<double> time) {
  asio::steady_timer timer(co_await asio::this_coro::executor);
  timer.expires_after(std::chrono::duration_cast<asio::steady_timer::duration>(time));
  co_await timer.async_wait(asio::use_awaitable);
}

}  // namespace

struct Relays::Loop {
  Loop() { listen(); }

  void listen() {
    signals.async_wait([this](const boost::system::error_code& error, int) {
      if (error) return;
      isInterrupted = true;
      cancellation.emit(asio::cancellation_type::terminal);
      listen();
    });
  }

  // Whatever the operation came to, an interrupted one counts as interrupted.
  template <class Spawn>
  void drive(Spawn spawn) {
    context.poll();
    if (isInterrupted) throw interruption();
    bool isDone = false;
    spawn(isDone);
    while (!isDone)
      context.run_one();
    if (isInterrupted) throw interruption();
    if (failure) std::rethrow_exception(std::exchange(failure, nullptr));
  }

  template <class T>
  T run(asio::awaitable<T> operation) {
    std::optional<T> result;
    drive([&](bool& isDone) {
      const auto finish = [&](std::exception_ptr error, T value) {
        failure = std::move(error);
        if (!failure) result.emplace(std::move(value));
        isDone = true;
      };
      asio::co_spawn(context, std::move(operation),
                     asio::bind_cancellation_slot(cancellation.slot(), finish));
    });
    return std::move(*result);
  }

  void run(asio::awaitable<void> operation) {
    drive([&](bool& isDone) {
      const auto finish = [&](std::exception_ptr error) {
        failure = std::move(error);
        isDone = true;
      };
      asio::co_spawn(context, std::move(operation),
                     asio::bind_cancellation_slot(cancellation.slot(), finish));
    });
  }

  asio::io_context context{1};
  asio::signal_set signals{context, SIGINT, SIGTERM};
  asio::cancellation_signal cancellation;
  bool isInterrupted = false;
  std::exception_ptr failure;
};

Relays::Relays() : service_(RelayClient(URLSession::shared())) {}
Relays::~Relays() = default;

Relays::Loop& Relays::loop() {
  if (!loop_) loop_ = std::make_unique<Loop>();
  return *loop_;
}

Connection Relays::pair(AgentProvider provider, const URL& address, const std::string& code,
                        const std::optional<std::string>& pin) {
  return loop().run(service_.pair(provider, address, code, pin));
}

SnapshotResult Relays::snapshot(const std::vector<Connection>& connections,
                                const SessionSnapshot& fallback) {
  return loop().run(service_.snapshot(connections, fallback));
}

void Relays::decide(PermissionDecision decision, const std::string& promptID,
                    const Connection& connection) {
  loop().run(service_.decide(decision, promptID, connection));
}

bool Relays::remoteApprovals(const Connection& connection) {
  return loop().run(service_.remoteApprovals(connection));
}

bool Relays::setRemoteApprovals(bool enabled, const Connection& connection) {
  return loop().run(service_.setRemoteApprovals(enabled, connection));
}

void Relays::unpair(const Connection& connection) { loop().run(service_.unpair(connection)); }

platform::HTTPResponse Relays::send(const std::shared_ptr<URLSession>& session,
                                    const platform::URLRequest& request) {
  return loop().run(session->data(request));
}

void Relays::pause(std::chrono::duration<double> time) { loop().run(sleep(time)); }

}  // namespace idlewyn::command

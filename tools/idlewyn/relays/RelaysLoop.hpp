// SPDX-License-Identifier: MIT
#pragma once

#include <csignal>
#include <deque>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include <boost/asio.hpp>

#include <tools/idlewyn/failure/Failure.hpp>
#include <tools/idlewyn/relays/Relays.hpp>

namespace idlewyn::command {

/// The event loop under Relays: one operation at a time, with signals and inputs beside it.
struct Relays::Loop {
  // A terminal that goes away ends the command too, unless it was started to outlive it (nohup).
  Loop() {
    struct sigaction hangup {};
    sigaction(SIGHUP, nullptr, &hangup);
    if (hangup.sa_handler != SIG_IGN) signals.add(SIGHUP);
    listen();
  }

  void listen() {
    signals.async_wait([this](const boost::system::error_code& error, int) {
      if (error) return;
      isInterrupted = true;
      cancel();
      listen();
    });
  }

  void cancel() { cancellation.emit(boost::asio::cancellation_type::terminal); }

  void limit(std::chrono::milliseconds time) {
    deadline.expires_after(time);
    deadline.async_wait([this](const boost::system::error_code& error) {
      if (error) return;
      isLate = true;
      cancel();
    });
  }

  // Whatever the operation came to, an interrupted one counts as interrupted.
  template <class Spawn>
  void drive(Spawn spawn) {
    context.restart();
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
  T run(boost::asio::awaitable<T> operation) {
    std::optional<T> result;
    drive([&](bool& isDone) {
      const auto finish = [&](std::exception_ptr error, T value) {
        failure = std::move(error);
        if (!failure) result.emplace(std::move(value));
        isDone = true;
      };
      boost::asio::co_spawn(context, std::move(operation),
                            boost::asio::bind_cancellation_slot(cancellation.slot(), finish));
    });
    return std::move(*result);
  }

  void run(boost::asio::awaitable<void> operation) {
    drive([&](bool& isDone) {
      const auto finish = [&](std::exception_ptr error) {
        failure = std::move(error);
        isDone = true;
      };
      boost::asio::co_spawn(context, std::move(operation),
                            boost::asio::bind_cancellation_slot(cancellation.slot(), finish));
    });
  }

  struct Signals {
    Signals(boost::asio::io_context& context, std::function<void(int)> handle)
        : set(context), handle(std::move(handle)) {}

    void listen() {
      set.async_wait([this](const boost::system::error_code& error, int signal) {
        if (error) return;
        handle(signal);
        listen();
      });
    }

    boost::asio::signal_set set;
    std::function<void(int)> handle;
  };

  // The descriptor stays its owner's.
  struct Input {
    Input(boost::asio::io_context& context, int descriptor, std::function<void()> handle)
        : descriptor(context, descriptor), handle(std::move(handle)) {}
    ~Input() { descriptor.release(); }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    void listen() {
      descriptor.async_wait(boost::asio::posix::descriptor_base::wait_read,
                            [this](const boost::system::error_code& error) {
                              if (error) return;
                              handle();
                              listen();
                            });
    }

    boost::asio::posix::stream_descriptor descriptor;
    std::function<void()> handle;
  };

  boost::asio::io_context context{1};
  boost::asio::signal_set signals{context, SIGINT, SIGTERM};
  boost::asio::cancellation_signal cancellation;
  boost::asio::steady_timer deadline{context};
  boost::asio::steady_timer sleeper{context};
  std::deque<Signals> moreSignals;
  std::deque<Input> inputs;
  bool isInterrupted = false;
  bool isWoken = false;
  bool isLate = false;
  std::exception_ptr failure;
};

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <thread>

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <IdlewynKit/platform/tasks/Wait.hpp>

namespace idlewyn::platform {
namespace {

namespace asio = boost::asio;

asio::awaitable<void> pause() {
  asio::steady_timer timer(co_await asio::this_coro::executor, std::chrono::milliseconds(5));
  co_await timer.async_wait(asio::use_awaitable);
}

asio::awaitable<std::unique_ptr<int>> makeLater(int value) {
  co_await pause();
  co_return std::make_unique<int>(value);
}

asio::awaitable<int> failLater() {
  co_await pause();
  throw std::runtime_error("failed");
}

asio::awaitable<void> note(std::thread::id& thread) {
  co_await pause();
  thread = std::this_thread::get_id();
}

TEST(Wait, GivesTheResultOrThrowsTheException) {
  EXPECT_EQ(*wait(makeLater(7)), 7);
  EXPECT_THROW(wait(failLater()), std::runtime_error);
}

TEST(Wait, RunsOnTheCallingThread) {
  std::thread::id thread;
  wait(note(thread));
  EXPECT_EQ(thread, std::this_thread::get_id());
}

}  // namespace
}  // namespace idlewyn::platform

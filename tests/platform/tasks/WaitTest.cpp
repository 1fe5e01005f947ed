// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <IdlewynKit/platform/tasks/Wait.hpp>

namespace idlewyn::platform {
namespace {

namespace asio = boost::asio;

asio::awaitable<std::unique_ptr<int>> makeLater(int value, std::thread::id& thread) {
  asio::steady_timer timer(co_await asio::this_coro::executor, std::chrono::milliseconds(5));
  co_await timer.async_wait(asio::use_awaitable);
  thread = std::this_thread::get_id();
  if (value < 0) throw std::runtime_error("failed");
  co_return std::make_unique<int>(value);
}

TEST(Wait, GivesTheResultOrThrowsTheExceptionOnTheCallingThread) {
  std::thread::id thread;
  EXPECT_EQ(*wait(makeLater(7, thread)), 7);
  EXPECT_EQ(thread, std::this_thread::get_id());
  EXPECT_THROW(wait(makeLater(-1, thread)), std::runtime_error);
}

template <class T>
asio::awaitable<T> waitOn(std::optional<asio::io_context>& context) {
  context.emplace();
  asio::post(co_await asio::this_coro::executor, [&] { context.reset(); });
  co_await asio::post(*context, asio::use_awaitable);
  co_return T();
}

TEST(Wait, TellsAnOperationThatWasDroppedFromOneThatEnded) {
  std::optional<asio::io_context> context;
  EXPECT_THROW(wait(waitOn<int>(context)), std::future_error);
  EXPECT_THROW(wait(waitOn<void>(context)), std::future_error);
}

}  // namespace
}  // namespace idlewyn::platform

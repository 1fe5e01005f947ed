// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <future>
#include <optional>
#include <type_traits>
#include <utility>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>

#include <IdlewynKit/platform/tasks/Awaitable.hpp>

namespace idlewyn::platform {

/// Runs an operation to its end on the calling thread and gives its result or throws its
/// exception. For threads without a loop of their own: called from a coroutine or a handler it
/// blocks that loop for the whole operation. `T` has a default constructor, which Boost.Asio
/// wants of results. For an operation that is dropped before its end, with the context that it
/// waits on, say, it throws std::future_error (broken promise).
///
///     Connection connection = wait(service.pair(provider, url, code, pin));
template <class T>
T wait(boost::asio::awaitable<T> operation) {
  boost::asio::io_context context(1);
  std::exception_ptr failure =
      std::make_exception_ptr(std::future_error(std::future_errc::broken_promise));
  if constexpr (std::is_void_v<T>) {
    boost::asio::co_spawn(context, std::move(operation),
                          [&](std::exception_ptr error) { failure = std::move(error); });
    context.run();
    if (failure) std::rethrow_exception(std::move(failure));
  } else {
    std::optional<T> result;
    boost::asio::co_spawn(context, std::move(operation), [&](std::exception_ptr error, T value) {
      failure = std::move(error);
      if (!failure) result.emplace(std::move(value));
    });
    context.run();
    if (failure) std::rethrow_exception(std::move(failure));
    return std::move(*result);
  }
}

}  // namespace idlewyn::platform

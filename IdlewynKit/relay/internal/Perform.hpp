// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/this_coro.hpp>

#include <IdlewynKit/platform/net/URLSession.hpp>
#include <IdlewynKit/relay/internal/Validation.hpp>

namespace idlewyn::internal {

/// The session that a request goes over, and whether its failures may be a pin's.
struct Route {
  Route(std::shared_ptr<platform::URLSession> session, bool isPinned)
      : session(std::move(session)), isPinned(isPinned) {}

  std::shared_ptr<platform::URLSession> session;
  bool isPinned;
};

/// A result that needs no exchange.
template <class T>
boost::asio::awaitable<T> ready(T value) {
  co_return value;
}
inline boost::asio::awaitable<void> ready() { co_return; }

/// What every operation is: make the request, send it once, judge the outcome, read the body.
/// In a cancelled coroutine asio throws at the next co_await and the outcome would be lost, so
/// that is switched off around the exchange, and back to the caller's setting after it.
template <class T>
boost::asio::awaitable<T> perform(Route route, std::function<platform::URLRequest()> makeRequest,
                                  std::function<T(platform::Data)> readBody) {
  platform::URLRequest request = makeRequest();
  const platform::URL sent = request.url;
  const bool throwIfCancelled = co_await boost::asio::this_coro::throw_if_cancelled();
  co_await boost::asio::this_coro::throw_if_cancelled(false);
  std::optional<platform::URLSession::Outcome> outcome;
  std::exception_ptr failure;
  try {
    outcome.emplace(co_await route.session->exchange(std::move(request)));
  } catch (...) {
    failure = std::current_exception();
  }
  co_await boost::asio::this_coro::throw_if_cancelled(throwIfCancelled);
  if (failure) std::rethrow_exception(failure);
  co_return readBody(acceptedBody(std::move(*outcome), sent, route.isPinned));
}

}  // namespace idlewyn::internal

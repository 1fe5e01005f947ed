// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/net/URLSession.hpp>

#include <utility>

#include <boost/asio/associated_cancellation_slot.hpp>
#include <boost/asio/deferred.hpp>
#include <boost/asio/this_coro.hpp>

#include <IdlewynKit/platform/net/internal/Completion.hpp>
#include <IdlewynKit/platform/net/internal/IOLoop.hpp>
#include <IdlewynKit/platform/net/internal/PreparedRequest.hpp>
#include <IdlewynKit/platform/net/internal/SessionCore.hpp>
#include <IdlewynKit/platform/net/internal/Transfer.hpp>
#include <IdlewynKit/platform/net/internal/TrustCheck.hpp>

namespace idlewyn::platform {
namespace {

namespace asio = boost::asio;

// Begins a transfer for the coroutine that waits in `handler`. From the moment of submission
// that coroutine may run on, elsewhere, and take its frame and this object with it.
struct Begin {
  template <class Handler>
  void operator()(Handler&& handler, std::shared_ptr<Transfer> transfer) const {
    const auto owned = std::move(transfer);
    const std::weak_ptr<Transfer> weak = owned;
    const auto cancel = [weak] {
      if (auto running = weak.lock()) SessionCore::cancel(std::move(running));
    };
    auto slot = asio::get_associated_cancellation_slot(handler);
    if (slot.is_connected()) {
      slot.assign([cancel](asio::cancellation_type type) {
        if (type != asio::cancellation_type::none) cancel();
      });
    }
    owned->completion = makeCompletion(std::forward<Handler>(handler), cancel);
    owned->session()->submit(owned);
  }
};

URLError cancelledBeforeStart(const URLRequest& request) {
  return URLError(URLErrorCode::cancelled, request.url, "The request was cancelled.");
}

// `session` is kept, and with it its connections, for as long as the coroutine lives.
asio::awaitable<URLSession::Outcome> run([[maybe_unused]] std::shared_ptr<URLSession> session,
                                         std::shared_ptr<SessionCore> core, URLRequest request) {
  const asio::cancellation_state state = co_await asio::this_coro::cancellation_state;
  if (!IOLoop::isOurs() || state.cancelled() != asio::cancellation_type::none) {
    co_return cancelledBeforeStart(request);
  }
  auto prepared = prepare(std::move(request));
  if (auto* refused = std::get_if<URLError>(&prepared)) co_return std::move(*refused);
  auto transfer =
      std::make_shared<Transfer>(std::move(core), std::get<PreparedRequest>(std::move(prepared)));
  auto operation = asio::async_initiate<const asio::deferred_t, void(URLSession::Outcome)>(
      Begin(), asio::deferred, std::move(transfer));
  co_return co_await std::move(operation);
}

asio::awaitable<HTTPResponse> runOrThrow(std::shared_ptr<URLSession> session,
                                         std::shared_ptr<SessionCore> core, URLRequest request) {
  URLSession::Outcome outcome =
      co_await run(std::move(session), std::move(core), std::move(request));
  if (auto* error = std::get_if<URLError>(&outcome)) throw std::move(*error);
  co_return std::get<HTTPResponse>(std::move(outcome));
}

}  // namespace

URLSession::URLSession(std::shared_ptr<SessionCore> core, bool isLasting)
    : core_(std::move(core)), isLasting_(isLasting) {}

URLSession::~URLSession() { core_->finishTasksAndInvalidate(); }

std::shared_ptr<URLSession> URLSession::shared() {
  static const auto* const session = new std::shared_ptr<URLSession>(lasting());
  return *session;
}

std::shared_ptr<URLSession> URLSession::ephemeral(std::shared_ptr<URLSessionDelegate> delegate) {
  auto core = std::make_shared<SessionCore>(std::move(delegate));
  return std::shared_ptr<URLSession>(new URLSession(std::move(core), false));
}

std::shared_ptr<URLSession> URLSession::lasting(std::shared_ptr<URLSessionDelegate> delegate) {
  auto core = std::make_shared<SessionCore>(std::move(delegate));
  return std::shared_ptr<URLSession>(new URLSession(std::move(core), true));
}

void URLSession::setKeyLogging(bool isAllowed) noexcept { allowKeyLogging(isAllowed); }

asio::awaitable<HTTPResponse> URLSession::data(URLRequest request) {
  return runOrThrow(shared_from_this(), core_, std::move(request));
}

asio::awaitable<URLSession::Outcome> URLSession::exchange(URLRequest request) {
  return run(shared_from_this(), core_, std::move(request));
}

void URLSession::finishTasksAndInvalidate() {
  if (!isLasting_) core_->finishTasksAndInvalidate();
}

}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#include <IdlewynKit/relay/Snapshot.hpp>

#include <iterator>
#include <stdexcept>
#include <tuple>
#include <utility>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/deferred.hpp>
#include <boost/asio/experimental/parallel_group.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>

namespace idlewyn {

namespace {

namespace asio = boost::asio;
using asio::awaitable;
using Service = std::shared_ptr<const SessionService>;

// What one connection's fetch came to: its error, or its sessions.
struct Fetched {
  Fetched() = default;

  std::vector<AgentSession> sessions;
  std::exception_ptr error;
};

awaitable<Fetched> fetch(Service service, Connection connection) {
  Fetched fetched;
  try {
    fetched.sessions = co_await service->sessions(std::move(connection));
  } catch (...) {
    fetched.error = std::current_exception();
  }
  co_return fetched;
}

// A coroutine of its own, unlike the caller's, may take every type of cancellation.
awaitable<Fetched> fetchAsChild(Service service, Connection connection) {
  co_await asio::this_coro::reset_cancellation_state(asio::enable_total_cancellation());
  co_return co_await fetch(std::move(service), std::move(connection));
}

// The sessions gathered so far; fed with one outcome at a time, in the order of completion.
class Merge {
 public:
  explicit Merge(SessionSnapshot fallback) : fallback_(std::move(fallback)) {}

  void reserve(std::size_t count) { sessions_.reserve(count); }

  void add(AgentProvider provider, Fetched fetched) {
    if (fetched.error) {
      errors_[provider] = fetched.error;
      fetched.sessions = fallback_.sessionsFor(provider);
    }
    sessions_.insert(sessions_.end(), std::make_move_iterator(fetched.sessions.begin()),
                     std::make_move_iterator(fetched.sessions.end()));
  }

  SnapshotResult finish() {
    SessionSnapshot snapshot(std::move(sessions_), DateClock::now());
    return SnapshotResult(std::move(snapshot), std::move(errors_));
  }

 private:
  SessionSnapshot fallback_;
  std::vector<AgentSession> sessions_;
  std::map<AgentProvider, std::exception_ptr> errors_;
};

// In a coroutine that is cancelled already, every exchange ends at once as cancelled, without
// children that would have to be told.
awaitable<void> mergeInCancelled(const Service& service, const std::vector<Connection>& connections,
                                 Merge& merge) {
  for (const Connection& connection : connections) {
    merge.add(connection.provider, co_await fetch(service, connection));
  }
}

// The outcomes of all connections, by their place, and the order in which they came.
struct Gathered {
  Gathered() = default;

  std::vector<std::size_t> order;
  std::vector<std::exception_ptr> failures;
  std::vector<Fetched> outcomes;
};

// Runs on the strand of its children. While it launches them none can end: a group whose last
// child ends on another thread while it still launches reads what is gone by then.
awaitable<Gathered> gather(Service service, std::vector<Connection> connections) {
  co_await asio::this_coro::reset_cancellation_state(asio::enable_total_cancellation());
  co_await asio::this_coro::throw_if_cancelled(false);
  const auto strand = co_await asio::this_coro::executor;
  const auto spawn = [&](const Connection& connection) {
    return asio::co_spawn(strand, fetchAsChild(service, connection), asio::deferred);
  };
  std::vector<decltype(spawn(connections.front()))> children;
  children.reserve(connections.size());
  for (const Connection& connection : connections)
    children.push_back(spawn(connection));

  Gathered gathered;
  auto group = asio::experimental::make_parallel_group(std::move(children));
  std::tie(gathered.order, gathered.failures, gathered.outcomes) =
      co_await group.async_wait(asio::experimental::wait_for_all(), asio::use_awaitable);
  co_return gathered;
}

awaitable<void> mergeConcurrently(const Service& service,
                                  const std::vector<Connection>& connections, Merge& merge) {
  // A strand of the call's own: the children may share the caller's pool of threads.
  const auto strand = asio::make_strand(co_await asio::this_coro::executor);
  Gathered gathered =
      co_await asio::co_spawn(strand, gather(service, connections), asio::use_awaitable);
  std::size_t count = 0;
  for (const Fetched& fetched : gathered.outcomes)
    count += fetched.sessions.size();
  merge.reserve(count);
  const auto state = co_await asio::this_coro::cancellation_state;
  const bool isCancelled = state.cancelled() != asio::cancellation_type::none;
  for (const std::size_t i : gathered.order) {
    Fetched fetched = std::move(gathered.outcomes[i]);
    fetched.error = fetched.error ? fetched.error : gathered.failures[i];
    // Cancelled before it ran a step: the exchange itself says what that means.
    if (gathered.failures[i] && isCancelled) fetched = co_await fetch(service, connections[i]);
    merge.add(connections[i].provider, std::move(fetched));
  }
}

awaitable<void> mergeAll(const Service& service, const std::vector<Connection>& connections,
                         Merge& merge) {
  auto state = co_await asio::this_coro::cancellation_state;
  if (state.cancelled() == asio::cancellation_type::none && !connections.empty()) {
    try {
      co_await mergeConcurrently(service, connections, merge);
      co_return;
    } catch (const boost::system::system_error&) {
      // Cancelled before the gathering ran a step.
    }
  }
  co_await mergeInCancelled(service, connections, merge);
}

// A cancelled caller still gets its result; afterwards its setting is as it was.
awaitable<SnapshotResult> fetchAndMerge(Service service, std::vector<Connection> connections,
                                        SessionSnapshot fallback) {
  const bool throwIfCancelled = co_await asio::this_coro::throw_if_cancelled();
  co_await asio::this_coro::throw_if_cancelled(false);
  Merge merge(std::move(fallback));
  std::exception_ptr outOfMemory;
  try {
    co_await mergeAll(service, connections, merge);
  } catch (...) {
    outOfMemory = std::current_exception();
  }
  co_await asio::this_coro::throw_if_cancelled(throwIfCancelled);
  if (outOfMemory) std::rethrow_exception(outOfMemory);
  co_return merge.finish();
}

}  // namespace

awaitable<SnapshotResult> takeSnapshot(Service service, std::vector<Connection> connections,
                                       SessionSnapshot fallback) {
  if (!service) throw std::invalid_argument("takeSnapshot needs a SessionService, not null.");
  return fetchAndMerge(std::move(service), std::move(connections), std::move(fallback));
}

}  // namespace idlewyn

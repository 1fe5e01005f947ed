// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/associated_executor.hpp>
#include <boost/asio/post.hpp>

#include <IdlewynKit/platform/net/URLSession.hpp>

namespace idlewyn::platform {

class CompletionRegistry;

/// A caller that waits for the outcome of an exchange. Its handler runs once on the caller's
/// executor, or never when the executor's context is destroyed first.
class Completion {
 public:
  virtual ~Completion() = default;

  /// From any thread; only the first outcome counts. Throws std::bad_alloc and leaves the
  /// outcome as it was where the caller's executor lacks memory; it may be tried again.
  void deliver(URLSession::Outcome& outcome);

 protected:
  /// Hands handler and outcome to the executor and lets go of both, or of neither when it throws.
  virtual void post(URLSession::Outcome& outcome) = 0;
  /// Lets go of both without running the handler.
  virtual void drop() = 0;

 private:
  friend class CompletionRegistry;
  std::shared_ptr<CompletionRegistry> registry_;
  std::function<void()> abandon_;
};

/// The completions that wait for one execution context, which takes them down with it. Whoever
/// delivers holds the registries' lock for as long as the context is touched, so the context
/// can't be destroyed under the I/O thread.
class CompletionRegistry {
 public:
  static std::shared_ptr<CompletionRegistry> of(boost::asio::execution_context& context);

  /// `abandon` is called when the context is destroyed before an outcome is there.
  static void add(std::shared_ptr<CompletionRegistry> registry,
                  const std::shared_ptr<Completion>& completion, std::function<void()> abandon);

  void deliver(Completion& completion, URLSession::Outcome& outcome);
  void abandonAll();

 private:
  std::unordered_map<Completion*, std::shared_ptr<Completion>> waiting_;  // under the lock
};

template <class Handler>
class HandlerCompletion final : public Completion {
 public:
  explicit HandlerCompletion(Handler handler)
      : waiting_(std::make_shared<std::optional<Waiting>>(Waiting{
            // Tracked: the caller's loop does not run dry while the exchange is under way.
            boost::asio::prefer(
                boost::asio::any_io_executor(boost::asio::get_associated_executor(handler)),
                boost::asio::execution::outstanding_work.tracked),
            std::move(handler), std::nullopt})) {}

 private:
  struct Waiting {
    boost::asio::any_io_executor executor;
    Handler handler;
    std::optional<URLSession::Outcome> outcome;
  };

  void post(URLSession::Outcome& outcome) override {
    Waiting& kept = **waiting_;
    // Out of what the other thread destroys: references to an executor are counted with fences,
    // which thread sanitizers don't see.
    auto executor = std::move(kept.executor);
    kept.outcome.emplace(std::move(outcome));
    try {
      boost::asio::post(executor, [shared = waiting_] {
        Waiting waiting = std::move(**shared);
        shared->reset();
        waiting.handler(std::move(*waiting.outcome));
      });
    } catch (...) {
      kept.executor = std::move(executor);
      outcome = std::move(*kept.outcome);
      throw;
    }
    waiting_.reset();  // the executor's alone from here on, and destroyed with its context
  }

  void drop() override { waiting_.reset(); }

  std::shared_ptr<std::optional<Waiting>> waiting_;
};

/// Makes the handler of an asynchronous operation a registered completion.
template <class Handler>
std::shared_ptr<Completion> makeCompletion(Handler handler, std::function<void()> abandon) {
  auto& context = boost::asio::query(boost::asio::get_associated_executor(handler),
                                     boost::asio::execution::context);
  auto registry = CompletionRegistry::of(context);
  auto completion = std::make_shared<HandlerCompletion<Handler>>(std::move(handler));
  CompletionRegistry::add(std::move(registry), completion, std::move(abandon));
  return completion;
}

}  // namespace idlewyn::platform

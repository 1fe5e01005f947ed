// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/net/internal/Completion.hpp>

#include <pthread.h>

#include <mutex>

#include <boost/asio/execution_context.hpp>

namespace idlewyn::platform {
namespace {

// One for all registries: a fork waits until nobody holds it, or the child could not end what it
// has inherited.
std::mutex handingOver;

// Ties the registry to the life of its context.
class RegistryService : public boost::asio::execution_context::service {
 public:
  using key_type = RegistryService;
  static inline boost::asio::execution_context::id id;

  explicit RegistryService(boost::asio::execution_context& context)
      : service(context), registry(std::make_shared<CompletionRegistry>()) {}

  void shutdown() override { registry->abandonAll(); }

  const std::shared_ptr<CompletionRegistry> registry;
};

}  // namespace

void Completion::deliver(URLSession::Outcome& outcome) { registry_->deliver(*this, outcome); }

std::shared_ptr<CompletionRegistry> CompletionRegistry::of(
    boost::asio::execution_context& context) {
  [[maybe_unused]] static const int guarded = pthread_atfork(
      [] { handingOver.lock(); }, [] { handingOver.unlock(); }, [] { handingOver.unlock(); });
  return boost::asio::use_service<RegistryService>(context).registry;
}

void CompletionRegistry::add(std::shared_ptr<CompletionRegistry> registry,
                             const std::shared_ptr<Completion>& completion,
                             std::function<void()> abandon) {
  completion->abandon_ = std::move(abandon);
  completion->registry_ = registry;
  const std::lock_guard lock(handingOver);
  registry->waiting_.emplace(completion.get(), completion);
}

void CompletionRegistry::deliver(Completion& completion, URLSession::Outcome& outcome) {
  const std::lock_guard lock(handingOver);
  const auto found = waiting_.find(&completion);
  if (found == waiting_.end()) return;
  const auto kept = found->second;
  kept->post(outcome);
  waiting_.erase(found);
}

void CompletionRegistry::abandonAll() {
  decltype(waiting_) taken;
  {
    const std::lock_guard lock(handingOver);
    taken.swap(waiting_);
  }
  // The handlers go here, on the thread that destroys the context and while it still takes
  // what an abandoned coroutine posts to be unwound.
  for (auto& [completion, kept] : taken) {
    if (kept->abandon_) kept->abandon_();
    kept->drop();
  }
}

}  // namespace idlewyn::platform

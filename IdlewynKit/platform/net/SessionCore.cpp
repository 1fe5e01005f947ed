// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/net/internal/SessionCore.hpp>

#include <curl/curl.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace idlewyn::platform {
namespace {

// While it is not known whether exchanges with an origin can share a connection, so many are
// begun, each with its own; the others wait for one of them to know, but not for long.
constexpr std::size_t mostUnconnected = 2;
constexpr auto longestWaitForConnection = std::chrono::milliseconds(250);

}  // namespace

struct SessionCore::Callbacks {
  static int watch(CURL* handle, curl_socket_t socket, int what, void* self, void*) {
    auto& core = *static_cast<SessionCore*>(self);
    std::uint32_t events = 0;
    if (what == CURL_POLL_IN || what == CURL_POLL_INOUT) events |= EPOLLIN;
    if (what == CURL_POLL_OUT || what == CURL_POLL_INOUT) events |= EPOLLOUT;
    try {
      core.loop().watch(socket, events, what == CURL_POLL_REMOVE ? nullptr : &core);
    } catch (const std::bad_alloc&) {
      Transfer* transfer = nullptr;
      curl_easy_getinfo(handle, CURLINFO_PRIVATE, &transfer);
      if (transfer != nullptr) core.doom(*transfer);
    }
    return 0;
  }

  static int setTimer(CURLM*, long milliseconds, void* self) {
    auto& core = *static_cast<SessionCore*>(self);
    if (milliseconds < 0) {
      core.loop().clear(core);
    } else {
      core.loop().set(core, IOLoop::Clock::now() + std::chrono::milliseconds(milliseconds));
    }
    return 0;
  }
};

SessionCore::SessionCore(std::shared_ptr<URLSessionDelegate> delegate)
    : delegate_(std::move(delegate)) {}

// Sets the loop and then looks at `isInvalidated_`, `finishTasksAndInvalidate` the other way
// about: at least one sees what the other has done. No lock, for a forked child's copy of it may
// be held for ever.
void SessionCore::submit(std::shared_ptr<Transfer> transfer) {
  IOLoop* const loop = IOLoop::shared();
  if (loop != nullptr) loop_ = loop;
  transfer->node.push_back(transfer);
  const bool isPosted =
      loop != nullptr && !isInvalidated_ &&
      loop->post([self = shared_from_this(), transfer] { self->start(*transfer); });
  if (isPosted) return;
  const Ending ending = loop == nullptr ? Ending::noResources : Ending::cancelledBySession;
  transfer->node.clear();  // it would keep itself for ever
  transfer->finish(ending, CURLE_OK);
  transfer->completion->deliver(*transfer->outcome);
}

void SessionCore::cancel(std::shared_ptr<Transfer> transfer) {
  SessionCore& core = *transfer->session();
  IOLoop* const loop = core.loop_;
  const bool isPosted = loop != nullptr && loop->post([&core, transfer] {
    core.end(*transfer, Ending::cancelledByCaller);
  });
  // The loop is no more, or stayed behind in the parent process.
  if (isPosted) return;
  URLSession::Outcome outcome = transfer->cancelled();
  transfer->completion->deliver(outcome);
}

void SessionCore::finishTasksAndInvalidate() {
  if (isInvalidated_.exchange(true)) return;
  IOLoop* const loop = loop_;
  if (loop == nullptr) {
    delegate_.reset();  // no transfer was ever made
    return;
  }
  loop->post([self = shared_from_this()] {
    self->isClosing_ = true;
    self->closeWhenDone();
  });
}

void SessionCore::start(Transfer& transfer) {
  transfer.place = transfer.node.begin();
  const Ending ending = tryToStart(transfer);
  if (ending == Ending::none) return;
  finished_.splice(finished_.end(), transfer.node);
  finish(transfer, ending, CURLE_OK);
}

// Why it can't be, or none.
Ending SessionCore::tryToStart(Transfer& transfer) try {
  if (isClosing_) return Ending::cancelledBySession;
  if (!openMulti()) return Ending::noResources;
  const std::string& name = transfer.origin();
  Origin& origin = origins_.try_emplace(name, *this, name).first->second;
  origin.waiting.splice(origin.waiting.end(), transfer.node);
  transfer.state = Transfer::State::waiting;
  loop().set(transfer, transfer.latestStart());
  launchWaiting(origin);
  return Ending::none;
} catch (const std::bad_alloc&) {
  return Ending::noResources;
}

bool SessionCore::openMulti() {
  if (multi_ != nullptr) return true;
  OwnedMulti owned = makeMulti();
  if (owned == nullptr) return false;
  void* const multi = owned.get();
  curl_multi_setopt(multi, CURLMOPT_SOCKETFUNCTION, &Callbacks::watch);
  curl_multi_setopt(multi, CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(multi, CURLMOPT_TIMERFUNCTION, &Callbacks::setTimer);
  curl_multi_setopt(multi, CURLMOPT_TIMERDATA, this);
  multi_ = owned.release();
  return true;
}

bool SessionCore::mayLaunch(const Origin& origin) const {
  if (origin.running.size() >= maximumRunning) return false;
  return origin.isUnlimited || origin.unconnected < mostUnconnected ||
         !origin.running.front()->isSecure() || unsharedOrigins_.contains(origin.name) ||
         sockets_.hasShared(origin.name);
}

void SessionCore::launchWaiting(Origin& origin) {
  while (!origin.waiting.empty() && mayLaunch(origin)) {
    if (!gate().isOpen()) return gate().queue(origin);
    launchNext(origin);
  }
  if (!origin.waiting.empty() && origin.running.size() < maximumRunning) {
    loop().setUnlessSet(origin, IOLoop::Clock::now() + longestWaitForConnection);
  }
}

void SessionCore::launchNext(Origin& origin) {
  Transfer& transfer = *origin.waiting.front();
  origin.running.splice(origin.running.end(), origin.waiting, transfer.place);
  transfer.state = Transfer::State::running;
  loop().set(transfer, transfer.deadline());
  transfer.isUnconnected = true;
  ++origin.unconnected;
  gate().enter(transfer.ticket);
  countStart();
  if (transfer.open() && curl_multi_add_handle(multi_, transfer.handle()) == CURLM_OK) return;
  doom(transfer);
}

// Memory is short. The transfer ends later, not in the midst of libcurl or of a walk through lists.
void SessionCore::doom(Transfer& transfer) noexcept {
  transfer.isDoomed = hasDoomed_ = true;
  runWhenIdle();
}

void SessionCore::endDoomed() {
  while (hasDoomed_) {
    Transfer* const transfer = nextDoomed();
    hasDoomed_ = transfer != nullptr;
    if (transfer != nullptr) end(*transfer, Ending::noResources);
  }
}

Transfer* SessionCore::nextDoomed() {
  for (auto& [name, origin] : origins_) {
    for (const auto& transfer : origin.running) {
      if (transfer->isDoomed) return transfer.get();
    }
  }
  return nullptr;
}

void SessionCore::Origin::ring() {
  isUnlimited = true;
  core.launchWaiting(*this);
}

// Kept are as many connections as transfers have begun since there were none, each of which may
// have its own: where fewer are kept, each round of fetches closes and opens the difference.
void SessionCore::countStart() {
  if (++begun_ <= kept_) return;
  kept_ = 2 * begun_;
  keepConnections(multi_, kept_);
}

void SessionCore::keepAsManyAsWereUsed() {
  if (!origins_.empty()) return;
  const std::size_t wanted = std::max(fewestKeptConnections, std::exchange(begun_, 0));
  if (std::exchange(kept_, wanted) != wanted) keepConnections(multi_, wanted);
}

void SessionCore::forgetUnconnected(Transfer& transfer, Origin& origin) {
  if (std::exchange(transfer.isUnconnected, false)) --origin.unconnected;
}

void SessionCore::tellConnected(Transfer& transfer, bool isShared) {
  const auto found = origins_.find(transfer.origin());
  if (found == origins_.end() || !transfer.isUnconnected) return;
  if (isShared) {
    unsharedOrigins_.erase(transfer.origin());
  } else if (transfer.isSecure()) {
    unsharedOrigins_.insert(transfer.origin());
  }
  if (!found->second.waiting.empty()) decidedOrigins_.push_back(transfer.origin());
  forgetUnconnected(transfer, found->second);
}

// Not from within libcurl's callbacks, where no transfer may be added.
void SessionCore::launchDecided() {
  for (const std::string& name : std::exchange(decidedOrigins_, {})) {
    if (const auto found = origins_.find(name); found != origins_.end()) {
      launchWaiting(found->second);
    }
  }
}

void SessionCore::end(Transfer& transfer, Ending ending, int curlCode) {
  using State = Transfer::State;
  const State state = std::exchange(transfer.state, State::ended);
  if (state == State::ended) return;
  loop().clear(transfer);
  if (ending == Ending::deadline && state == State::waiting) ending = Ending::neverBegan;
  if (ending == Ending::deadline) transfer.spoilSilentConnection();
  if (transfer.handle() != nullptr) curl_multi_remove_handle(multi_, transfer.handle());
  Origin& origin = origins_.find(transfer.origin())->second;
  auto& list = state == State::running ? origin.running : origin.waiting;
  finished_.splice(finished_.end(), list, transfer.place);
  forgetUnconnected(transfer, origin);
  finish(transfer, ending, curlCode);
  launchWaiting(origin);
  if (origin.running.empty() && origin.waiting.empty()) forget(origin);
  gate().leave(transfer.ticket);
  closeWhenDone();
}

void SessionCore::forget(Origin& origin) {
  loop().clear(origin);
  origins_.erase(origins_.find(origin.name));
  keepAsManyAsWereUsed();
}

// Callers are told later, not one by one: they would be woken for each.
void SessionCore::finish(Transfer& transfer, Ending ending, int curlCode) {
  transfer.finish(ending, curlCode);
  runWhenIdle();
}

void SessionCore::runWhenIdle() noexcept {
  if (waitingForIdle_) return;
  waitingForIdle_ = shared_from_this();
  loop().whenIdle(*this);
}

void SessionCore::runLate() {
  const auto self = std::move(waitingForIdle_);
  endDoomed();
  readAgain();
  deliverFinished();
}

void SessionCore::deliverFinished() {
  const auto self = shared_from_this();
  try {
    for (; !finished_.empty(); finished_.pop_front()) {
      Transfer& transfer = *finished_.front();
      transfer.completion->deliver(*transfer.outcome);
    }
  } catch (const std::bad_alloc&) {
    loop().set(retry_, IOLoop::Clock::now() + std::chrono::milliseconds(20));
  }
}

void SessionCore::ring() { act(CURL_SOCKET_TIMEOUT, 0); }

void SessionCore::act(int socket, int events) {
  const auto self = shared_from_this();
  int count = 0;
  curl_multi_socket_action(multi_, socket, events, &count);
  while (multi_ != nullptr) {
    const CURLMsg* message = curl_multi_info_read(multi_, &count);
    if (message == nullptr) break;
    const CURLcode result = message->data.result;
    Transfer* transfer = nullptr;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
    if (!startAfresh(*transfer, result)) end(*transfer, Ending::none, result);
  }
  if (!decidedOrigins_.empty()) launchDecided();
  if (!stalled_.empty()) resumeStalled();
}

bool SessionCore::startAfresh(Transfer& transfer, int curlCode) {
  if (!transfer.wantsFreshConnection(curlCode)) return false;
  curl_multi_remove_handle(multi_, transfer.handle());
  transfer.demandFreshConnection();
  return curl_multi_add_handle(multi_, transfer.handle()) == CURLM_OK;
}

void SessionCore::closeWhenDone() {
  if (!isClosing_ || !origins_.empty()) return;
  if (multi_ != nullptr) curl_multi_cleanup(multi_);
  multi_ = nullptr;
  loop().clear(*this);
  delegate_.reset();
}

}  // namespace idlewyn::platform

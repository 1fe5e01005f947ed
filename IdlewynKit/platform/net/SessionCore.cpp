// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/net/internal/SessionCore.hpp>

#include <curl/curl.h>
#include <fcntl.h>
#include <linux/sockios.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <utility>
#include <vector>

namespace idlewyn::platform {
namespace {

// Enough for every running transfer of a few origins. Left alone, libcurl throws warm
// connections away whenever few transfers are under way.
constexpr long keptConnections = 512;

bool holdsBytes(int socket) {
  int unread = 0;
  int unsent = 0;
  return (ioctl(socket, FIONREAD, &unread) == 0 && unread > 0) ||
         (ioctl(socket, SIOCOUTQ, &unsent) == 0 && unsent > 0);
}

bool isInheritedUnixSocket(int descriptor) {
  sockaddr_storage name{};
  socklen_t size = sizeof name;
  return fcntl(descriptor, F_GETFD) == 0 &&
         getsockname(descriptor, reinterpret_cast<sockaddr*>(&name), &size) == 0 &&
         name.ss_family == AF_UNIX;
}

// The two lowest numbers that are free; -1 where there is none.
std::array<int, 2> freeDescriptors() {
  std::array<int, 2> found;
  for (int& descriptor : found)
    descriptor = open("/", O_PATH | O_CLOEXEC);
  for (const int descriptor : found) {
    if (descriptor >= 0) close(descriptor);
  }
  return found;
}

// Programs started later would inherit the two sockets that libcurl makes for wake-ups and does
// not tell us. A wake-up, which nobody waits for here, puts a byte between them: that tells them
// from what other threads have opened meanwhile.
void closeWakeupPairOnExec(CURLM* multi, std::array<int, 2> likely) {
  constexpr int searched = 64;
  std::vector<int> quiet;
  for (int i = likely[0]; i < likely[1] + searched; ++i) {
    if (isInheritedUnixSocket(i) && !holdsBytes(i)) quiet.push_back(i);
  }
  curl_multi_wakeup(multi);
  for (const int socket : quiet) {
    if (holdsBytes(socket)) fcntl(socket, F_SETFD, FD_CLOEXEC);
  }
}

}  // namespace

struct SessionCore::Callbacks {
  static int watch(CURL*, curl_socket_t socket, int what, void* self, void*) {
    auto& core = *static_cast<SessionCore*>(self);
    std::uint32_t events = 0;
    if (what == CURL_POLL_IN || what == CURL_POLL_INOUT) events |= EPOLLIN;
    if (what == CURL_POLL_OUT || what == CURL_POLL_INOUT) events |= EPOLLOUT;
    core.loop().watch(socket, events, what == CURL_POLL_REMOVE ? nullptr : &core);
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
  const bool isPosted =
      loop != nullptr && !isInvalidated_ &&
      loop->post([self = shared_from_this(), transfer] { self->start(transfer); });
  if (isPosted) return;
  const Ending ending = loop == nullptr ? Ending::noResources : Ending::cancelledBySession;
  transfer->completion->deliver(transfer->finish(ending, CURLE_OK));
}

void SessionCore::cancel(std::shared_ptr<Transfer> transfer) {
  SessionCore& core = *transfer->session();
  IOLoop* const loop = core.loop_;
  const bool isPosted = loop != nullptr && loop->post([&core, transfer] {
    core.end(*transfer, Ending::cancelledByCaller);
  });
  // The loop is no more, or stayed behind in the parent process.
  if (!isPosted) transfer->completion->deliver(transfer->cancelled());
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

void SessionCore::start(const std::shared_ptr<Transfer>& transfer) {
  if (isClosing_ || !openMulti()) {
    const Ending ending = isClosing_ ? Ending::cancelledBySession : Ending::noResources;
    transfer->completion->deliver(transfer->finish(ending, CURLE_OK));
    return;
  }
  Origin& origin = origins_[transfer->origin()];
  transfer->place = origin.waiting.insert(origin.waiting.end(), transfer);
  transfer->state = Transfer::State::waiting;
  loop().set(*transfer, transfer->deadline());
  launchWaiting(origin);
}

bool SessionCore::openMulti() {
  if (multi_ != nullptr) return true;
  const std::array<int, 2> likely = freeDescriptors();
  auto* multi = curl_multi_init();
  if (multi == nullptr) return false;
  multi_ = multi;
  closeWakeupPairOnExec(multi, likely);
  curl_multi_setopt(multi, CURLMOPT_SOCKETFUNCTION, &Callbacks::watch);
  curl_multi_setopt(multi, CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(multi, CURLMOPT_TIMERFUNCTION, &Callbacks::setTimer);
  curl_multi_setopt(multi, CURLMOPT_TIMERDATA, this);
  curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, keptConnections);
  return true;
}

void SessionCore::launchWaiting(Origin& origin) {
  while (!origin.waiting.empty() && origin.running.size() < maximumRunning) {
    Transfer& transfer = *origin.waiting.front();
    origin.running.splice(origin.running.end(), origin.waiting, transfer.place);
    transfer.state = Transfer::State::running;
    if (transfer.open() && curl_multi_add_handle(multi_, transfer.handle()) == CURLM_OK) continue;
    // Memory is short. It ends later, not in the midst of this walk through the lists.
    loop().post([self = shared_from_this(), kept = transfer.shared_from_this()] {
      self->end(*kept, Ending::noResources);
    });
  }
}

void SessionCore::end(Transfer& transfer, Ending ending, int curlCode) {
  using State = Transfer::State;
  const State state = std::exchange(transfer.state, State::ended);
  if (state == State::ended) return;
  const std::shared_ptr<Transfer> kept = *transfer.place;
  loop().clear(transfer);
  if (transfer.handle() != nullptr) curl_multi_remove_handle(multi_, transfer.handle());
  const auto found = origins_.find(transfer.origin());
  auto& list = state == State::running ? found->second.running : found->second.waiting;
  list.erase(transfer.place);
  // Not one by one: the caller would be woken for each.
  if (finished_.empty()) {
    loop().whenIdle([self = shared_from_this()] { self->deliverFinished(); });
  }
  finished_.emplace_back(transfer.completion, transfer.finish(ending, curlCode));
  launchWaiting(found->second);
  if (found->second.running.empty()) origins_.erase(found);
  closeWhenDone();
}

void SessionCore::deliverFinished() {
  auto finished = std::exchange(finished_, {});
  for (auto& [completion, outcome] : finished)
    completion->deliver(std::move(outcome));
}

void SessionCore::ring() { act(CURL_SOCKET_TIMEOUT, 0); }

void SessionCore::ready(int socket, std::uint32_t events) {
  // An error shows in what reading or writing says; as a bare error libcurl would take it for
  // a failed sending.
  int wanted = 0;
  if ((events & (EPOLLIN | EPOLLERR | EPOLLHUP)) != 0) wanted |= CURL_CSELECT_IN;
  if ((events & (EPOLLOUT | EPOLLERR | EPOLLHUP)) != 0) wanted |= CURL_CSELECT_OUT;
  act(socket, wanted);
}

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
    if (!startAfresh(*transfer)) end(*transfer, Ending::none, result);
  }
}

// A transfer that found its kept connection closed has sent nothing yet.
bool SessionCore::startAfresh(Transfer& transfer) {
  if (!transfer.wantsFreshConnection()) return false;
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

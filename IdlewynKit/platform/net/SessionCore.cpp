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

// While it is not known whether exchanges with an origin can share a connection, so many are
// begun, each with its own; the others wait for one of them to know, but not for long.
constexpr std::size_t mostUnconnected = 2;
constexpr auto longestWaitForConnection = std::chrono::milliseconds(250);

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
  const std::string& name = transfer->origin();
  Origin& origin = origins_.try_emplace(name, *this, name).first->second;
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

bool SessionCore::mayLaunch(const Origin& origin) const {
  if (origin.running.size() >= maximumRunning) return false;
  return origin.isUnlimited || origin.unconnected < mostUnconnected ||
         !origin.running.front()->isSecure() || unsharedOrigins_.contains(origin.name) ||
         sockets_.hasShared(origin.name);
}

void SessionCore::launchWaiting(Origin& origin) {
  while (!origin.waiting.empty()) {
    if (!mayLaunch(origin)) {
      if (origin.running.size() < maximumRunning) {
        loop().setUnlessSet(origin, IOLoop::Clock::now() + longestWaitForConnection);
      }
      return;
    }
    Transfer& transfer = *origin.waiting.front();
    origin.running.splice(origin.running.end(), origin.waiting, transfer.place);
    transfer.state = Transfer::State::running;
    transfer.isUnconnected = true;
    ++origin.unconnected;
    if (transfer.open() && curl_multi_add_handle(multi_, transfer.handle()) == CURLM_OK) continue;
    // Memory is short. It ends later, not in the midst of this walk through the lists.
    loop().post([self = shared_from_this(), kept = transfer.shared_from_this()] {
      self->end(*kept, Ending::noResources);
    });
  }
}

void SessionCore::Origin::ring() {
  isUnlimited = true;
  core.launchWaiting(*this);
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
  const std::shared_ptr<Transfer> kept = *transfer.place;
  loop().clear(transfer);
  if (ending == Ending::deadline) transfer.spoilSilentConnection();
  if (transfer.handle() != nullptr) curl_multi_remove_handle(multi_, transfer.handle());
  const auto found = origins_.find(transfer.origin());
  auto& list = state == State::running ? found->second.running : found->second.waiting;
  list.erase(transfer.place);
  forgetUnconnected(transfer, found->second);
  // Not one by one: the caller would be woken for each.
  if (finished_.empty()) {
    loop().whenIdle([self = shared_from_this()] { self->deliverFinished(); });
  }
  finished_.emplace_back(transfer.completion, transfer.finish(ending, curlCode));
  launchWaiting(found->second);
  if (found->second.running.empty()) {
    loop().clear(found->second);
    origins_.erase(found);
  }
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
  const std::shared_ptr<SecureConnection> connection = sockets_.secureAt(socket);
  if (connection && connection->isOverHTTP2()) {
    actByRecord(*connection, socket, wanted);
  } else {
    act(socket, wanted);
    if (connection && connection->takeRefusal()) actLater(socket);
  }
}

void SessionCore::actByRecord(SecureConnection& connection, int socket, int events) {
  using Input = SecureConnection::Input;
  const auto self = shared_from_this();
  const auto bytes = [&] { return connection.received() + connection.sent(); };
  const std::uint64_t before = bytes();
  int left = events;
  connection.expectInput();
  while (true) {
    const Input input = connection.nextRecord();
    if (input == Input::none) left &= ~CURL_CSELECT_IN;
    // libcurl would wait for the rest of an answer that can't come any more.
    if (connection.ledger().isBroken()) shutdown(socket, SHUT_RDWR);
    if (left != 0) act(socket, left);
    if (loop().isTurnOver()) return actLater(socket);
    if (input != Input::some || !loop().isWatched(socket)) break;
    left = CURL_CSELECT_IN;
  }
  if ((events & CURL_CSELECT_OUT) != 0 && bytes() == before) {
    loop().pauseWriting(socket);
    stalled_.push_back({socket, before});
  }
}

// What is left may be in libcurl's or OpenSSL's memory, of which epoll knows nothing.
void SessionCore::actLater(int socket) {
  loop().whenIdle([self = shared_from_this(), socket] {
    if (self->multi_ != nullptr && self->loop().isWatched(socket)) self->ready(socket, EPOLLIN);
  });
}

void SessionCore::resumeStalled() {
  std::erase_if(stalled_, [&](const Stalled& stalled) {
    const auto connection = sockets_.secureAt(stalled.socket);
    if (!connection) return true;
    if (connection->received() + connection->sent() == stalled.bytes) return false;
    loop().resumeWriting(stalled.socket);
    return true;
  });
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

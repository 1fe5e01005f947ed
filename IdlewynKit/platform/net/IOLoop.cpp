// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/net/internal/IOLoop.hpp>

#include <curl/curl.h>
#include <openssl/ssl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace idlewyn::platform {
namespace {

std::mutex creation;
IOLoop* instance = nullptr;
bool isExiting = false;
std::atomic<pid_t> firstProcess = 0;

// To wake a caller costs as much as an exchange itself, so outcomes gather while there is
// more to do, but not for ever.
constexpr int mostRoundsLate = 8;

// What one connection may take of the loop's time before it has to let others in between.
constexpr auto turn = std::chrono::milliseconds(10);

// A thread inherits the signal mask: the application's signal handlers run on its own threads.
class AllSignalsBlocked {
 public:
  AllSignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous_);
  }
  ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
  AllSignalsBlocked(const AllSignalsBlocked&) = delete;
  AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

 private:
  sigset_t previous_;
};

}  // namespace

bool IOLoop::isOurs() noexcept {
  const pid_t self = getpid();
  pid_t first = 0;
  return firstProcess.compare_exchange_strong(first, self) || first == self;
}

IOLoop* IOLoop::shared() noexcept {
  if (!isOurs()) return nullptr;
  const std::lock_guard lock(creation);
  if (instance != nullptr) return instance;
  if (isExiting) return nullptr;
  try {
    // Another thread may call exit() at any moment: OpenSSL must not tear itself down under us,
    // and our handler, registered before there is anything to stop, waits until we are done.
    OPENSSL_init_ssl(OPENSSL_INIT_NO_ATEXIT, nullptr);
    static const int registered = std::atexit(&IOLoop::stopAtExit);
    if (registered != 0 || curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) return nullptr;
    instance = new IOLoop();
  } catch (const std::exception&) {
    return nullptr;
  }
  return instance;
}

IOLoop::IOLoop() {
  epoll_ = epoll_create1(EPOLL_CLOEXEC);
  wake_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.fd = wake_;
  try {
    if (epoll_ < 0 || wake_ < 0 || epoll_ctl(epoll_, EPOLL_CTL_ADD, wake_, &event) != 0) {
      throw std::system_error(errno, std::generic_category());
    }
    const AllSignalsBlocked blocked;
    thread_ = std::thread([this] { run(); });
  } catch (...) {
    if (epoll_ >= 0) close(epoll_);
    if (wake_ >= 0) close(wake_);
    throw;
  }
}

void IOLoop::stopAtExit() {
  if (!isOurs()) return;  // there is no thread to stop
  {
    const std::lock_guard lock(creation);
    isExiting = true;
    if (instance == nullptr) return;
  }
  IOLoop& loop = *instance;
  {
    const std::lock_guard lock(loop.mutex_);
    loop.isStopping_ = true;
    eventfd_write(loop.wake_, 1);
  }
  // A delegate may have called exit(): a thread can't wait for itself.
  if (std::this_thread::get_id() != loop.thread_.get_id()) loop.thread_.join();
}

bool IOLoop::post(Task task) {
  if (!isOurs()) return false;
  const std::lock_guard lock(mutex_);
  if (isStopping_) return false;
  posted_.push_back(std::move(task));
  if (posted_.size() == 1) eventfd_write(wake_, 1);
  return true;
}

void IOLoop::set(Alarm& alarm, Clock::time_point due) {
  clear(alarm);
  alarm.due_ = due;
  alarm.isSet_ = true;
  alarms_.insert(alarm);
}

void IOLoop::clear(Alarm& alarm) {
  if (!alarm.isSet_) return;
  alarms_.erase(alarms_.iterator_to(alarm));
  alarm.isSet_ = false;
}

IOLoop::Watch& IOLoop::watchOf(int socket) {
  const auto index = static_cast<std::size_t>(socket);
  if (watches_.size() <= index) watches_.resize(index + 1);
  return watches_[index];
}

void IOLoop::watch(int socket, std::uint32_t events, SocketOwner* owner) {
  Watch& watch = watchOf(socket);
  watch.owner = owner;
  if (owner == nullptr) {
    // A kept connection stays with epoll: the next request is likely to want the same again.
    if (!watch.isAdopted) drop(socket);
    return;
  }
  watch.wanted = events;
  tellEpoll(socket);
}

void IOLoop::tellEpoll(int socket) {
  Watch& watch = watchOf(socket);
  constexpr std::uint32_t reading = EPOLLIN, writing = EPOLLOUT;
  const std::uint32_t events =
      watch.isWritingPaused ? (watch.wanted & ~writing) | reading : watch.wanted;
  if (watch.events == events) return;
  epoll_event event{};
  event.events = events;
  event.data.fd = socket;
  epoll_ctl(epoll_, watch.events == 0 ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, socket, &event);
  watch.events = events;
}

void IOLoop::pauseWriting(int socket) {
  watchOf(socket).isWritingPaused = true;
  tellEpoll(socket);
}

void IOLoop::resumeWriting(int socket) {
  Watch& watch = watchOf(socket);
  if (!std::exchange(watch.isWritingPaused, false) || watch.owner == nullptr) return;
  tellEpoll(socket);
}

void IOLoop::adopt(int socket) {
  watchOf(socket) = Watch();
  watchOf(socket).isAdopted = true;
}

void IOLoop::forget(int socket) { watchOf(socket) = Watch(); }

void IOLoop::drop(int socket) {
  if (std::exchange(watchOf(socket).events, 0) != 0) {
    epoll_ctl(epoll_, EPOLL_CTL_DEL, socket, nullptr);
  }
}

void IOLoop::runLate() {
  LateTask* task = std::exchange(late_, nullptr);
  while (task != nullptr) {
    LateTask* const next = std::exchange(task->next_, nullptr);
    beginTurn();
    task->runLate();
    task = next;
  }
}

void IOLoop::whenIdle(LateTask& task) noexcept { task.next_ = std::exchange(late_, &task); }

void IOLoop::beginTurn() noexcept { turnEnd_ = Clock::now() + turn; }

void IOLoop::run() {
  pthread_setname_np(pthread_self(), "idlewyn-io");
  std::array<epoll_event, 128> events;
  int roundsLate = 0;
  while (true) {
    const bool hasLate = late_ != nullptr;
    const int count = epoll_wait(epoll_, events.data(), static_cast<int>(events.size()),
                                 hasLate ? 0 : millisecondsToNextAlarm());
    for (int i = 0; i < count; ++i)
      dispatch(events[static_cast<std::size_t>(i)].data.fd,
               events[static_cast<std::size_t>(i)].events);
    if (!runPosted()) return;
    ringDue();
    if (hasLate && count > 0 && ++roundsLate < mostRoundsLate) continue;
    roundsLate = 0;
    if (hasLate) runLate();
  }
}

void IOLoop::dispatch(int socket, std::uint32_t events) {
  if (socket == wake_) {
    eventfd_t value;
    eventfd_read(wake_, &value);
  } else if (SocketOwner* owner = watchOf(socket).owner; owner == nullptr) {
    drop(socket);  // nobody's: an idle connection that its server has closed, say
  } else {
    // A socket of an earlier event may have been closed and its number given to another
    // owner by now; an owner that is asked in vain finds nothing to do.
    beginTurn();
    owner->ready(socket, events);
  }
}

// False when the thread is to end.
bool IOLoop::runPosted() {
  std::vector<Task> tasks;
  {
    const std::lock_guard lock(mutex_);
    if (isStopping_) return false;
    tasks.swap(posted_);
  }
  for (Task& task : tasks) {
    beginTurn();
    task();
    task = nullptr;
  }
  return true;
}

void IOLoop::ringDue() {
  const Clock::time_point now = Clock::now();
  while (!alarms_.empty() && alarms_.begin()->due_ <= now) {
    Alarm& alarm = *alarms_.begin();
    clear(alarm);
    beginTurn();
    alarm.ring();
  }
}

int IOLoop::millisecondsToNextAlarm() const {
  if (alarms_.empty()) return -1;
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(alarms_.begin()->due_ - Clock::now());
  return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, INT_MAX));
}

}  // namespace idlewyn::platform

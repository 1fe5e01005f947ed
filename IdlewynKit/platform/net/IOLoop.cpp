// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/net/internal/IOLoop.hpp>

#include <curl/curl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <system_error>

namespace idlewyn::platform {
namespace {

std::mutex creation;
IOLoop* instance = nullptr;

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

IOLoop* IOLoop::shared() noexcept {
  const std::lock_guard lock(creation);
  if (instance != nullptr) return instance;
  try {
    // OpenSSL registers its exit handler in here. Ours, registered later, runs earlier.
    if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) return nullptr;
    instance = new IOLoop();
    std::atexit(&IOLoop::stopAtExit);
  } catch (const std::exception&) {
    return nullptr;
  }
  return instance;
}

IOLoop::IOLoop() : process_(getpid()) {
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
  IOLoop& loop = *instance;
  if (getpid() != loop.process_) return;
  {
    const std::lock_guard lock(loop.mutex_);
    loop.isStopping_ = true;
    eventfd_write(loop.wake_, 1);
  }
  // A delegate may have called exit(): a thread can't wait for itself.
  if (std::this_thread::get_id() != loop.thread_.get_id()) loop.thread_.join();
}

bool IOLoop::post(Task task) {
  if (getpid() != process_) return false;
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
  alarms_.emplace(due, &alarm);
}

void IOLoop::clear(Alarm& alarm) {
  if (!alarm.isSet_) return;
  alarms_.erase({alarm.due_, &alarm});
  alarm.isSet_ = false;
}

void IOLoop::watch(int socket, std::uint32_t events, SocketOwner* owner) {
  const auto index = static_cast<std::size_t>(socket);
  if (owners_.size() <= index) owners_.resize(index + 1);
  epoll_event event{};
  event.events = events;
  event.data.fd = socket;
  if (owner == nullptr) {
    epoll_ctl(epoll_, EPOLL_CTL_DEL, socket, nullptr);
  } else if (epoll_ctl(epoll_, EPOLL_CTL_MOD, socket, &event) != 0) {
    epoll_ctl(epoll_, EPOLL_CTL_ADD, socket, &event);
  }
  owners_[index] = owner;
}

void IOLoop::run() {
  pthread_setname_np(pthread_self(), "idlewyn-io");
  std::array<epoll_event, 128> events;
  while (true) {
    const int count = epoll_wait(epoll_, events.data(), static_cast<int>(events.size()),
                                 millisecondsToNextAlarm());
    for (int i = 0; i < count; ++i) {
      const int socket = events[static_cast<std::size_t>(i)].data.fd;
      if (socket == wake_) {
        eventfd_t value;
        eventfd_read(wake_, &value);
      } else if (SocketOwner* owner = owners_[static_cast<std::size_t>(socket)]) {
        // A socket of an earlier event may have been closed and its number given to another
        // owner by now; an owner that is asked in vain finds nothing to do.
        owner->ready(socket, events[static_cast<std::size_t>(i)].events);
      }
    }
    if (!runPosted()) return;
    ringDue();
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
    task();
    task = nullptr;
  }
  return true;
}

void IOLoop::ringDue() {
  const Clock::time_point now = Clock::now();
  while (!alarms_.empty() && alarms_.begin()->first <= now) {
    Alarm& alarm = *alarms_.begin()->second;
    clear(alarm);
    alarm.ring();
  }
}

int IOLoop::millisecondsToNextAlarm() const {
  if (alarms_.empty()) return -1;
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(alarms_.begin()->first - Clock::now());
  return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, INT_MAX));
}

}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <boost/intrusive/set.hpp>

namespace idlewyn::platform {

/// The process's one I/O thread: an epoll loop that tells owners of sockets what their sockets
/// are ready for, rings alarms, and runs what other threads post. It is made at the first
/// request and never destroyed; at exit its thread is stopped before OpenSSL is torn down.
class IOLoop {
 public:
  using Clock = std::chrono::steady_clock;
  using Task = std::function<void()>;

  /// Something that waits for a point in time. Belongs to the loop's thread.
  class Alarm : public boost::intrusive::set_base_hook<> {
   public:
    virtual ~Alarm() = default;
    virtual void ring() = 0;
    friend bool operator<(const Alarm& a, const Alarm& b) noexcept { return a.due_ < b.due_; }

   private:
    friend class IOLoop;
    Clock::time_point due_{};
    bool isSet_ = false;
  };

  /// Something to do when nothing else is at hand. Belongs to the loop's thread.
  class LateTask {
   public:
    virtual ~LateTask() = default;
    virtual void runLate() = 0;

   private:
    friend class IOLoop;
    LateTask* next_ = nullptr;
  };

  /// Something that owns sockets. Belongs to the loop's thread.
  class SocketOwner {
   public:
    virtual ~SocketOwner() = default;
    /// `events` as of epoll.
    virtual void ready(int socket, std::uint32_t events) = 0;
  };

  /// Whether this process is the first that asked for the loop. A child forked later must not
  /// wait for a lock of ours: it may be held by a thread that stayed behind.
  static bool isOurs() noexcept;

  /// The loop, made when there is none. Null when the system has no thread or descriptor left,
  /// and when the loop is another process's.
  static IOLoop* shared() noexcept;

  /// Runs the task on the loop's thread, in the order of posting. False, and the task is not
  /// kept, where the loop is another process's and once the process exits. Any thread.
  bool post(Task task);

  // The loop's thread only:
  void set(Alarm& alarm, Clock::time_point due);
  void setUnlessSet(Alarm& alarm, Clock::time_point due) {
    if (!alarm.isSet_) set(alarm, due);
  }
  void clear(Alarm& alarm);
  /// Watches a socket for epoll events on behalf of `owner`; no owner ends the watch.
  void watch(int socket, std::uint32_t events, SocketOwner* owner);
  /// The socket belongs to a connection: it may stay with epoll between its watches, since
  /// `forget` will be called when it is closed. Alone among what is for the loop's thread, this
  /// and `watch` of a socket that was not adopted can lack memory.
  void adopt(int socket);
  void forget(int socket);
  bool isWatched(int socket) const noexcept {
    const auto index = static_cast<std::size_t>(socket);
    return index < watches_.size() && watches_[index].owner != nullptr;
  }
  /// Until writing is resumed, readiness to be written to is no event of the socket.
  void pauseWriting(int socket);
  void resumeWriting(int socket);
  /// Whether the owner, alarm or task that runs has had its share of time, and is to leave the
  /// rest for a later round: the others' deadlines must be kept.
  bool isTurnOver() const noexcept { return Clock::now() > turnEnd_; }
  /// Runs the task when nothing else is at hand, at the latest a few rounds of events later. It
  /// must not be waiting for that already, and lives until then.
  void whenIdle(LateTask& task) noexcept;

 private:
  struct Watch {
    SocketOwner* owner = nullptr;
    std::uint32_t wanted = 0;
    std::uint32_t events = 0;  // what epoll was told; 0 when it does not know the socket
    bool isAdopted = false;
    bool isWritingPaused = false;
  };

  IOLoop();
  ~IOLoop() = default;
  static void stopAtExit();
  void run();
  void dispatch(int socket, std::uint32_t events);
  Watch& watchOf(int socket);
  void drop(int socket);
  void tellEpoll(int socket);
  void beginTurn() noexcept;
  void runLate();
  bool runPosted();
  void ringDue();
  int millisecondsToNextAlarm() const;

  int epoll_ = -1;
  int wake_ = -1;
  std::mutex mutex_;
  std::vector<Task> posted_;
  bool isStopping_ = false;
  boost::intrusive::multiset<Alarm> alarms_;
  std::vector<Watch> watches_;  // by socket
  LateTask* late_ = nullptr;
  Clock::time_point turnEnd_{};
  std::thread thread_;
};

}  // namespace idlewyn::platform

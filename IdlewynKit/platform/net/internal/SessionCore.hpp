// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include <IdlewynKit/platform/net/internal/ConnectionSockets.hpp>
#include <IdlewynKit/platform/net/internal/IOLoop.hpp>
#include <IdlewynKit/platform/net/internal/MultiHandle.hpp>
#include <IdlewynKit/platform/net/internal/Transfer.hpp>
#include <IdlewynKit/platform/net/internal/Verdict.hpp>

namespace idlewyn::platform {

/// What a session is to the I/O thread: one libcurl multi handle with its connections, and the
/// transfers that run or wait their turn. Its transfers keep it; the session lets go of it.
class SessionCore final : public IOLoop::Alarm,
                          public IOLoop::SocketOwner,
                          public IOLoop::LateTask,
                          public std::enable_shared_from_this<SessionCore> {
 public:
  /// Transfers to one origin that run at the same time; the others wait first in, first out.
  /// By origin, so that a relay which does not answer holds up no other one.
  static constexpr std::size_t maximumRunning = 100;

  explicit SessionCore(std::shared_ptr<URLSessionDelegate> delegate);

  // Any thread:
  void submit(std::shared_ptr<Transfer> transfer);
  static void cancel(std::shared_ptr<Transfer> transfer);
  /// Refuses new transfers; when the last one has ended, frees connections and delegate.
  void finishTasksAndInvalidate();

  // The loop's thread only:
  const std::shared_ptr<URLSessionDelegate>& delegate() const noexcept { return delegate_; }
  ConnectionSockets& sockets() noexcept { return sockets_; }
  /// The transfer has a connection now, by which it is known whether its origin's exchanges can
  /// share one. Called by libcurl's callbacks, too.
  void tellConnected(Transfer& transfer, bool isShared);
  IOLoop& loop() noexcept { return *loop_; }
  /// Ends a transfer, and with it its connection if that is in its midst. A transfer that has
  /// ended already stays as it is.
  void end(Transfer& transfer, Ending ending, int curlCode = 0);
  void ring() override;
  void ready(int socket, std::uint32_t events) override;
  void runLate() override;

 private:
  struct Callbacks;
  struct Origin final : IOLoop::Alarm, StartGate::Applicant {
    Origin(SessionCore& core, std::string name) : core(core), name(std::move(name)) {}
    void ring() override;
    void gateOpened() override { core.launchWaiting(*this); }

    SessionCore& core;
    const std::string name;
    Transfer::List running;
    Transfer::List waiting;
    std::size_t unconnected = 0;  // of those that run
    bool isUnlimited = false;     // waiting for a first connection has lasted long enough
  };
  /// A connection whose server lets libcurl write no more than it has: asking again and again
  /// whether the socket takes bytes would be all that the loop does.
  struct Stalled {
    int socket;
    std::uint64_t bytes;
  };

  /// Tries again to tell callers what could not be told for want of memory.
  struct Retry final : IOLoop::Alarm {
    explicit Retry(SessionCore& core) : core(core) {}
    void ring() override { core.deliverFinished(); }

    SessionCore& core;
  };

  void start(Transfer& transfer);
  Ending tryToStart(Transfer& transfer);
  bool openMulti();
  void finish(Transfer& transfer, Ending ending, int curlCode);
  void doom(Transfer& transfer) noexcept;
  void endDoomed();
  Transfer* nextDoomed();
  void runWhenIdle() noexcept;
  void readAgain();
  StartGate& gate() { return StartGate::shared(loop()); }
  void launchWaiting(Origin& origin);
  void launchNext(Origin& origin);
  bool mayLaunch(const Origin& origin) const;
  void launchDecided();
  void countStart();
  void keepAsManyAsWereUsed();
  void forget(Origin& origin);
  void forgetUnconnected(Transfer& transfer, Origin& origin);
  void act(int socket, int events);
  void actByRecord(SecureConnection& connection, int socket, int events);
  void actLater(int socket);
  void pauseWriting(int socket, std::uint64_t bytes);
  void resumeStalled();
  bool startAfresh(Transfer& transfer, int curlCode);
  void closeWhenDone();
  void deliverFinished();

  std::atomic<bool> isInvalidated_ = false;
  std::atomic<IOLoop*> loop_ = nullptr;  // set before the first transfer reaches the loop

  std::shared_ptr<URLSessionDelegate> delegate_;
  ConnectionSockets sockets_;
  void* multi_ = nullptr;  // CURLM
  bool isClosing_ = false;
  std::size_t begun_ = 0;  // since there were none
  std::size_t kept_ = fewestKeptConnections;
  Transfer::List finished_;  // their callers don't know yet
  Retry retry_{*this};
  std::shared_ptr<SessionCore> waitingForIdle_;  // this one, while it waits
  bool hasDoomed_ = false;
  std::vector<int> unreadSockets_;
  std::unordered_map<std::string, Origin> origins_;  // those with transfers
  // Each exchange there takes a connection of its own.
  std::unordered_set<std::string> unsharedOrigins_;
  std::vector<std::string> decidedOrigins_;
  std::vector<Stalled> stalled_;
};

}  // namespace idlewyn::platform

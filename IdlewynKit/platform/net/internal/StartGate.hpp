// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>

#include <boost/intrusive/list.hpp>

#include <IdlewynKit/platform/net/internal/IOLoop.hpp>

namespace idlewyn::platform {

/// Decides how many exchanges begin at the same time, of all sessions together. Thousands at once
/// overflow the queues of kernels and servers, and most would time out though every server
/// answers. An exchange counts until it ends, and for a second at most: servers that don't answer
/// don't keep the others from beginning. Belongs to the loop's thread.
class StartGate final : public IOLoop::Alarm {
 public:
  static constexpr std::size_t mostBegun = 256;
  static constexpr auto longestCounted = std::chrono::seconds(1);

  /// The part of an exchange that is counted.
  class Ticket : public boost::intrusive::list_base_hook<
                     boost::intrusive::link_mode<boost::intrusive::safe_link>> {
    friend class StartGate;
    IOLoop::Clock::time_point countedUntil_{};
  };

  /// Something that has exchanges to begin. It leaves the queue when it is destroyed.
  class Applicant : public boost::intrusive::list_base_hook<
                        boost::intrusive::link_mode<boost::intrusive::auto_unlink>> {
   public:
    virtual ~Applicant() = default;
    /// Begins what the gate lets pass, and queues again for the rest.
    virtual void gateOpened() = 0;
  };

  explicit StartGate(IOLoop& loop) noexcept : loop_(loop) {}
  StartGate(const StartGate&) = delete;
  StartGate& operator=(const StartGate&) = delete;

  /// The one of the process's loop, never destroyed.
  static StartGate& shared(IOLoop& loop);

  bool isOpen() const noexcept { return begun_.size() < mostBegun; }
  void enter(Ticket& ticket);
  /// To be called when the exchange ends, whether it is still counted or not.
  void leave(Ticket& ticket);
  /// Calls the applicant when the gate is open, in the order of queueing.
  void queue(Applicant& applicant);
  void ring() override;

 private:
  void admit();
  void waitForRoom();

  IOLoop& loop_;
  boost::intrusive::list<Ticket> begun_;  // in the order of beginning
  boost::intrusive::list<Applicant, boost::intrusive::constant_time_size<false>> applicants_;
};

}  // namespace idlewyn::platform

// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/net/internal/StartGate.hpp>

namespace idlewyn::platform {

StartGate& StartGate::shared(IOLoop& loop) {
  static auto& gate = *new StartGate(loop);
  return gate;
}

void StartGate::enter(Ticket& ticket) {
  ticket.countedUntil_ = IOLoop::Clock::now() + longestCounted;
  begun_.push_back(ticket);
}

void StartGate::leave(Ticket& ticket) {
  if (!ticket.is_linked()) return;
  begun_.erase(begun_.iterator_to(ticket));
  admit();
}

void StartGate::queue(Applicant& applicant) {
  if (!applicant.is_linked()) applicants_.push_back(applicant);
  waitForRoom();
}

void StartGate::waitForRoom() {
  if (!applicants_.empty() && !begun_.empty()) {
    loop_.setUnlessSet(*this, begun_.front().countedUntil_);
  }
}

void StartGate::ring() {
  const auto now = IOLoop::Clock::now();
  while (!begun_.empty() && begun_.front().countedUntil_ <= now)
    begun_.pop_front();
  admit();
  waitForRoom();
}

void StartGate::admit() {
  while (isOpen() && !applicants_.empty()) {
    Applicant& applicant = applicants_.front();
    applicants_.pop_front();
    applicant.gateOpened();
  }
}

}  // namespace idlewyn::platform

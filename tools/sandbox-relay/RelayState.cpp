// SPDX-License-Identifier: MIT
#include "RelayState.hpp"

#include <algorithm>
#include <utility>

namespace idlewyn::sandbox {

RelayState::RelayState(Clock clock) : clock_(std::move(clock)), script_(clock_()) {}

std::string RelayState::makeCode() {
  const std::lock_guard lock(mutex_);
  return desk_.makeCode(clock_());
}

void RelayState::addCode(std::string code) {
  const std::lock_guard lock(mutex_);
  desk_.addCode(std::move(code), clock_());
}

PairingResult RelayState::pair(AgentProvider provider, const std::string& code) {
  const std::lock_guard lock(mutex_);
  return desk_.pair(provider, code, clock_());
}

std::string RelayState::issueToken(AgentProvider provider) {
  const std::lock_guard lock(mutex_);
  return desk_.issueToken(provider);
}

bool RelayState::isValid(const std::string& token) const {
  const std::lock_guard lock(mutex_);
  return desk_.isValid(token);
}

void RelayState::unpair(const std::string& token) {
  const std::lock_guard lock(mutex_);
  desk_.revoke(token);
  std::erase_if(pushTokens_, [&](const OwnedToken& owned) { return owned.owner == token; });
}

std::vector<AgentSession> RelayState::sessions(std::optional<AgentProvider> provider) {
  const std::lock_guard lock(mutex_);
  std::vector<AgentSession> all = fixedSessions_ ? *fixedSessions_ : script_.sessions(clock_());
  if (provider) {
    std::erase_if(all, [&](const AgentSession& session) { return session.provider != *provider; });
  }
  return all;
}

void RelayState::setSessions(std::vector<AgentSession> sessions) {
  const std::lock_guard lock(mutex_);
  fixedSessions_ = std::move(sessions);
}

void RelayState::useMovingSessions() {
  const std::lock_guard lock(mutex_);
  fixedSessions_.reset();
}

bool RelayState::decide(std::string_view promptID, PermissionDecision decision) {
  const std::lock_guard lock(mutex_);
  const bool known = fixedSessions_ ? decideFixed(promptID, decision)
                                    : script_.decide(promptID, decision, clock_());
  if (known) decisions_.emplace_back(std::string(promptID), decision);
  return known;
}

bool RelayState::decideFixed(std::string_view promptID, PermissionDecision decision) {
  const auto found = std::ranges::find_if(*fixedSessions_, [&](const AgentSession& session) {
    return session.permission && session.permission->id == promptID;
  });
  if (found == fixedSessions_->end()) return false;
  found->permission.reset();
  found->status =
      decision == PermissionDecision::deny ? SessionStatus::failed : SessionStatus::working;
  found->updatedAt = clock_();
  return true;
}

std::vector<Decision> RelayState::decisions() const {
  const std::lock_guard lock(mutex_);
  return decisions_;
}

bool RelayState::remoteApprovals() const {
  const std::lock_guard lock(mutex_);
  return remoteApprovals_;
}

void RelayState::setRemoteApprovals(bool enabled) {
  const std::lock_guard lock(mutex_);
  remoteApprovals_ = enabled;
}

void RelayState::keepPushToken(std::string owner, PushTokenRegistration registration) {
  const std::lock_guard lock(mutex_);
  std::erase_if(pushTokens_, [&](const OwnedToken& old) {
    return old.registration.deviceID == registration.deviceID &&
           old.registration.kind == registration.kind &&
           old.registration.token == registration.token;
  });
  pushTokens_.push_back({std::move(owner), std::move(registration)});
}

std::vector<PushTokenRegistration> RelayState::pushTokens() const {
  const std::lock_guard lock(mutex_);
  std::vector<PushTokenRegistration> registrations;
  for (const OwnedToken& owned : pushTokens_)
    registrations.push_back(owned.registration);
  return registrations;
}

}  // namespace idlewyn::sandbox

// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <IdlewynKit/model/AgentSession.hpp>
#include <IdlewynKit/model/PushTokenRegistration.hpp>

#include "PairingDesk.hpp"
#include "SessionScript.hpp"

/// Everything a relay remembers, without any network. May be used from any thread.
///
///     RelayState state([&clock] { return clock.now(); });
///     auto result = state.pair(AgentProvider::codex, state.makeCode());
///     state.sessions(AgentProvider::codex);
namespace idlewyn::sandbox {

struct Decision {
  Decision(std::string promptID, PermissionDecision decision)
      : promptID(std::move(promptID)), decision(decision) {}

  friend bool operator==(const Decision&, const Decision&) = default;

  std::string promptID;
  PermissionDecision decision;
};

class RelayState {
 public:
  using Clock = std::function<Date()>;

  explicit RelayState(Clock clock);

  std::string makeCode();
  void addCode(std::string code);
  PairingResult pair(AgentProvider provider, const std::string& code);
  /// A token as pairing gives it, without a code.
  std::string issueToken(AgentProvider provider);
  bool isValid(const std::string& token) const;
  /// Forgets the token and the push tokens that came with it.
  void unpair(const std::string& token);

  /// The sessions of one agent, or of all.
  std::vector<AgentSession> sessions(std::optional<AgentProvider> provider);
  /// These sessions instead of the moving ones, until changed. A prompt in them can be answered
  /// once, which sets its session to working or, when denied, to failed.
  void setSessions(std::vector<AgentSession> sessions);
  void useMovingSessions();
  /// False when no session waits with that prompt.
  bool decide(std::string_view promptID, PermissionDecision decision);
  /// The decisions that were accepted, in order.
  std::vector<Decision> decisions() const;

  bool remoteApprovals() const;
  void setRemoteApprovals(bool enabled);

  /// Replaces a registration of the same device, kind and push token.
  void keepPushToken(std::string owner, PushTokenRegistration registration);
  std::vector<PushTokenRegistration> pushTokens() const;

 private:
  struct OwnedToken {
    std::string owner;
    PushTokenRegistration registration;
  };

  bool decideFixed(std::string_view promptID, PermissionDecision decision);

  const Clock clock_;
  mutable std::mutex mutex_;
  PairingDesk desk_;
  SessionScript script_;
  std::optional<std::vector<AgentSession>> fixedSessions_;
  std::vector<Decision> decisions_;
  bool remoteApprovals_ = false;
  std::vector<OwnedToken> pushTokens_;
};

}  // namespace idlewyn::sandbox

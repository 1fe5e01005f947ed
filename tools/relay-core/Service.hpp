// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <IdlewynKit/model/AgentSession.hpp>
#include <IdlewynKit/model/PushTokenRegistration.hpp>

/// What a relay's endpoints ask of the relay behind them.
///
///     class Sandbox final : public Service { ... };
///     Endpoints endpoints(sandbox);
namespace idlewyn::relay {

enum class PairingOutcome : std::uint8_t { paired, wrongCode, tooManyAttempts };

struct PairingResult {
  PairingResult(PairingOutcome outcome, std::string token = {},
                std::chrono::seconds retryAfter = {})
      : outcome(outcome), token(std::move(token)), retryAfter(retryAfter) {}

  PairingOutcome outcome;
  /// Empty unless paired.
  std::string token;
  /// When the next attempt is looked at, after too many.
  std::chrono::seconds retryAfter;
};

/// What a valid token gives access to.
struct Access {
  Access(std::string owner, std::optional<AgentProvider> provider)
      : owner(std::move(owner)), provider(provider) {}

  /// Who was given the token, as the service names it; never shown to anybody.
  std::string owner;
  /// The one agent that the token is good for; absent when it is good for all.
  std::optional<AgentProvider> provider;
};

/// How an answer to a permission prompt ended.
enum class DecisionOutcome : std::uint8_t {
  /// The agent has been told.
  accepted,
  /// No such prompt is open (any more).
  gone,
  /// "Always" for a prompt that has no rule; the prompt stays open.
  noRule,
  /// Another machine's relay did not say in time whether it took the answer.
  timedOut
};

/// Completions are called exactly once, before the call returns or later, on the thread that
/// the service works on.
class Service {
 public:
  using SessionsTaken = std::function<void(std::vector<AgentSession>)>;
  using Decided = std::function<void(DecisionOutcome)>;

  virtual ~Service() = default;

  /// The name that a paired client is told.
  virtual std::string account() const = 0;
  /// `origin` stands for the address that asks; an IPv6 network of 64 bits counts as one.
  virtual PairingResult pair(AgentProvider provider, const std::string& code,
                             const std::string& origin) = 0;
  /// No value for a token that isn't valid.
  virtual std::optional<Access> admit(const std::string& token, const std::string& origin) = 0;

  /// The sessions of one agent, or of all.
  virtual void sessions(const Access& access, std::optional<AgentProvider> provider,
                        SessionsTaken taken) = 0;
  virtual void decide(const Access& access, const std::string& promptID,
                      PermissionDecision decision, Decided decided) = 0;
  virtual bool remoteApprovals() const = 0;
  /// What holds afterwards: a lock can keep approvals off.
  virtual bool setRemoteApprovals(bool enabled) = 0;
  /// Replaces a registration of the same device, kind and push token. False when this owner's
  /// are too many or too large.
  virtual bool keepPushToken(const Access& access, PushTokenRegistration registration) = 0;
  /// Forgets the token and the push tokens that came with it.
  virtual void unpair(const Access& access, const std::string& token) = 0;
};

}  // namespace idlewyn::relay

// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <IdlewynKit/model/AgentSession.hpp>

#include <tools/relay-core/Service.hpp>

/// What the server's side asks of the agents' side. Everything runs on the relay's one thread.
///
///     agents.onChange([&] { tell(agents.sessions(AgentProvider::claude)); });
///     agents.decide(AgentProvider::claude, prompt, PermissionDecision::allow, answered);
namespace idlewyn::relay {

class AgentSessions {
 public:
  using Decided = std::function<void(DecisionOutcome)>;

  virtual ~AgentSessions() = default;

  /// This machine's sessions of one agent as they are served, open prompts included. All text
  /// is UTF-8.
  virtual std::vector<AgentSession> sessions(AgentProvider provider) const = 0;

  /// `decided` is called once: when the agent's side has taken the answer, or at once with
  /// `gone` for a prompt of another agent, an unknown or a withdrawn one, and with `noRule` for
  /// an `always` without a rule. `timedOut` never comes from here.
  virtual void decide(AgentProvider provider, const std::string& promptID,
                      PermissionDecision decision, Decided decided) = 0;

  /// Remote approvals were switched off: every waiting question is given back to its agent, and
  /// its session stays `waitingForInput` without `permission`.
  virtual void withdrawAll() = 0;

  /// Called after anything that `sessions` shows has changed. One listener.
  virtual void onChange(std::function<void()> changed) = 0;
};

}  // namespace idlewyn::relay

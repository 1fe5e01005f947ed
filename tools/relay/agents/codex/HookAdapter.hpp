// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <tools/relay/agents/Hook.hpp>
#include <tools/relay/agents/codex/RolloutWatch.hpp>
#include <tools/relay/agents/codex/Sink.hpp>
#include <tools/relay/sessions/Policy.hpp>

/// Codex's hooks, for sessions that no app-server tells of: their events become news of the
/// session, their questions prompts.
///
///     HookAdapter hooks(sink, policy, rollouts, isServed);
///     hooks.receive(event);
namespace idlewyn::relay::codex {

class HookAdapter final : public HookReceiver {
 public:
  /// Whether an app-server tells of the session.
  using IsServed = std::function<bool(const std::string& sessionID)>;

  HookAdapter(Sink& sink, Policy& policy, RolloutWatch& rollouts, IsServed isServed)
      : sink_(sink), policy_(policy), rollouts_(rollouts), isServed_(std::move(isServed)) {}
  HookAdapter(const HookAdapter&) = delete;
  HookAdapter& operator=(const HookAdapter&) = delete;

  void receive(const HookEvent& event) override;
  void gone(const std::shared_ptr<WaitingHook>& waiting) override;
  /// Codex has gone, whether it said so or not.
  void endSession(const std::string& sessionID);
  /// Nothing was heard of the session for long; it isn't shown any more.
  void forget(const std::string& sessionID);
  void turnEnded(const std::string& sessionID, const TurnEnd& end);

 private:
  struct Call {
    std::string sessionID;
    std::string agentID;
    std::string tool;
    std::string input;

    friend bool operator==(const Call&, const Call&) = default;

    std::string dialog() const { return dialogName(agentID, tool, input); }
  };
  struct Open {
    Call call;
    std::string workingDirectory;
    std::string promptID;
    std::shared_ptr<WaitingHook> waiting;
  };
  struct Turn {
    std::set<std::string> subagents;
    /// What the session said last, once it only waits for its subagents.
    std::optional<std::string> summary;
    /// The first prompt has named the session.
    bool hasTitle = false;
  };

  void takeEvent(const std::string& event, const json::Object& payload);
  void takeTool(const std::string& event, const Call& call, const json::Object& payload);
  void takeSubagent(const std::string& event, const Call& call);
  void ask(const Call& call, const HookEvent& event);
  bool decide(const std::shared_ptr<WaitingHook>& waiting,
              std::optional<PermissionDecision> decision);
  void keep(const Open& open);
  void finishTurn(const std::string& sessionID);
  template <typename Condition>
  void withdraw(Condition condition);
  static Call callOf(const json::Object& payload);

  Sink& sink_;
  Policy& policy_;
  RolloutWatch& rollouts_;
  IsServed isServed_;
  std::vector<Open> open_;
  std::map<std::string, Turn> turns_;
};

/// The input of a tool as it is compared: without the reason that Codex adds to its questions,
/// and without blanks at the end, which it drops there. A command or patch is its own text.
std::string comparedInput(const json::Object& toolInput);

}  // namespace idlewyn::relay::codex

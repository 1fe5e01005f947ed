// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <tools/relay/sessions/AgentSessions.hpp>
#include <tools/relay/sessions/Event.hpp>
#include <tools/relay/sessions/Policy.hpp>

/// This machine's sessions: what the agents' sources tell of goes in, what the relay serves comes
/// out. Knows no agent. One thread.
///
///     SessionList list(policy, secret, [] { return DateClock::now(); });
///     list.apply(event);
///     const std::string id = list.ask(question, answer);
namespace idlewyn::relay {

/// A question as an agent's source raises it.
struct Question {
  Question(AgentProvider provider, std::string sessionID, std::string toolName, std::string detail,
           std::string key)
      : provider(provider),
        sessionID(std::move(sessionID)),
        toolName(std::move(toolName)),
        detail(std::move(detail)),
        key(std::move(key)) {}

  AgentProvider provider;
  std::string sessionID;
  std::string toolName;
  /// Everything that will run or be written, whole. Empty: only the terminal can answer.
  std::string detail;
  /// Names the question also after the relay has restarted, so that its prompt keeps its id.
  std::string key;
  std::optional<std::string> alwaysRule;
};

class SessionList final : public AgentSessions {
 public:
  using Clock = std::function<Date()>;
  /// Takes the person's answer, or no value when the question is given back to the terminal.
  /// Called at most once, and not after `withdraw`. False when whoever asked has gone.
  using Answer = std::function<bool(std::optional<PermissionDecision>)>;
  using Forgotten = std::function<void(const std::string& sessionID)>;

  /// A detail that is longer is no prompt: nobody can allow what he can't read.
  static constexpr std::size_t longestDetail = 64UL << 10U;
  /// One more, and the one that was silent for longest is forgotten.
  static constexpr std::size_t mostSessions = 1000;

  /// `secret` makes the prompts' ids unguessable; the same secret gives the same ids.
  SessionList(const Policy& policy, std::string secret, Clock clock)
      : policy_(policy), secret_(std::move(secret)), clock_(std::move(clock)) {}
  SessionList(const SessionList&) = delete;
  SessionList& operator=(const SessionList&) = delete;

  void apply(const Event& event);
  /// The prompt's id; empty when the question can't be answered from here.
  std::string ask(Question question, Answer answer);
  /// The question has ended otherwise. Unknown ids change nothing.
  void withdraw(const std::string& promptID);
  /// Called for each of the agent's sessions that is forgotten because nothing was heard of it.
  void onForgotten(AgentProvider provider, Forgotten forgotten) {
    forgotten_.insert_or_assign(provider, std::move(forgotten));
  }

  std::vector<AgentSession> sessions(AgentProvider provider) const override;
  void decide(AgentProvider provider, const std::string& promptID, PermissionDecision decision,
              Decided decided) override;
  void withdrawAll() override;
  void onChange(std::function<void()> changed) override { changed_ = std::move(changed); }

 private:
  using Key = std::pair<AgentProvider, std::string>;
  struct Session {
    Session(AgentSession record) : record(std::move(record)) {}

    AgentSession record;
    /// The names of the dialogs that stand at the terminal.
    std::vector<std::string> dialogs;
    /// A question that only the terminal can answer because of its length.
    bool isTooLong = false;
  };
  struct Prompt {
    Key session;
    PermissionPrompt record;
    Answer answer;
  };

  Session& find(AgentProvider provider, const std::string& sessionID, Date at);
  void end(const Key& key);
  bool isOver(const Session& session, Date now) const;
  bool hasPrompt(const Session& session) const;
  /// Makes room for one session more.
  void forgetOld(Date now);
  void giveBack(const std::function<bool(const Prompt&)>& which);
  AgentSession served(const Session& session) const;
  std::string idOf(const Question& question) const;
  void changed() const;

  const Policy& policy_;
  std::string secret_;
  Clock clock_;
  std::function<void()> changed_;
  std::map<Key, Session> sessions_;
  /// Oldest first.
  std::vector<Prompt> prompts_;
  /// The ids that were answered lately, and when. Each serves once.
  std::map<std::string, Date> answered_;
  std::map<AgentProvider, Forgotten> forgotten_;
};

}  // namespace idlewyn::relay

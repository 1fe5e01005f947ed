// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <IdlewynKit/model/SessionTransition.hpp>

#include <tools/idlewyn/records/PromptRecord.hpp>
#include <tools/idlewyn/records/Records.hpp>
#include <tools/idlewyn/sessions/OldAgents.hpp>

/// What `--json` writes about sessions.
namespace idlewyn::command {

/// Without a rule that is empty: `always` is not offered for it.
AgentSession offered(AgentSession session);
std::vector<AgentSession> offered(std::vector<AgentSession> sessions);

struct TransitionRecord {
  explicit TransitionRecord(const SessionTransition& transition)
      : session(offered(transition.session)), from(transition.from) {}
  explicit TransitionRecord(DecodingKey key) : session(key) {}

  static constexpr auto fields() {
    return std::tuple{field("session", &TransitionRecord::session),
                      field("from", &TransitionRecord::from)};
  }

  AgentSession session;
  std::optional<SessionStatus> from;
};

/// An answer that was given on the desktop while watching, and why it was not taken.
struct WatchAnswerRecord {
  WatchAnswerRecord(PermissionDecision decision, PromptRecord prompt)
      : decision(decision), prompt(std::move(prompt)) {}
  explicit WatchAnswerRecord(DecodingKey key) : prompt(key) {}

  static constexpr auto fields() {
    using R = WatchAnswerRecord;
    return std::tuple{field("decision", &R::decision), field("prompt", &R::prompt),
                      field("kind", &R::kind), field("message", &R::message)};
  }

  PermissionDecision decision{};
  PromptRecord prompt;
  std::optional<std::string> kind;
  std::optional<std::string> message;
};

/// `sessions`; `status`, which adds the agents; and each round of `watch`, which adds transitions
/// and, with `--notify`, answers.
struct SessionsRecord {
  SessionsRecord(const SessionSnapshot& snapshot, const OldAgents& old,
                 std::vector<AgentErrorRecord> errors)
      : summary(summaryOf(snapshot, old, DateClock::now())),
        updatedAt(snapshot.updatedAt),
        sessions(offered(inDisplayOrder(snapshot, old))),
        errors(std::move(errors)) {
    for (const auto& [agent, answered] : old)
      stale.push_back(agent);
  }
  explicit SessionsRecord(DecodingKey) {}

  static constexpr auto fields() {
    using R = SessionsRecord;
    return std::tuple{field("summary", &R::summary),   field("updatedAt", &R::updatedAt),
                      field("sessions", &R::sessions), field("errors", &R::errors),
                      field("stale", &R::stale),       field("transitions", &R::transitions),
                      field("answers", &R::answers),   field("agents", &R::agents)};
  }

  std::string summary;
  Date updatedAt;
  /// In display order.
  std::vector<AgentSession> sessions;
  std::vector<AgentErrorRecord> errors;
  /// The agents that do not answer: their sessions are as old as their last answer.
  std::vector<AgentProvider> stale;
  std::optional<std::vector<TransitionRecord>> transitions;
  std::optional<std::vector<WatchAnswerRecord>> answers;
  /// Those of which something is known, and how old that is.
  std::optional<std::vector<AnswerTime>> agents;
};

}  // namespace idlewyn::command

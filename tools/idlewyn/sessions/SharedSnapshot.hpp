// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <optional>
#include <tuple>
#include <vector>

#include <IdlewynKit/model/SessionSnapshot.hpp>

/// The last snapshot, as every process of the product sees it.
namespace idlewyn::command {

/// When an agent last answered.
struct AnswerTime {
  AnswerTime(AgentProvider agent, Date answeredAt) : agent(agent), answeredAt(answeredAt) {}
  explicit AnswerTime(platform::DecodingKey) {}

  static constexpr auto fields() {
    return std::tuple{platform::field("agent", &AnswerTime::agent),
                      platform::field("answeredAt", &AnswerTime::answeredAt)};
  }

  AgentProvider agent{};
  Date answeredAt;
};

struct LastSeen {
  SessionSnapshot snapshot;
  /// When each agent last answered: of one that failed since, the snapshot has older sessions.
  std::map<AgentProvider, Date> answered;

  std::vector<AnswerTime> answerTimes() const;
};

/// Of all agents or, with `only`, of that one; the snapshot is then as old as its answer.
LastSeen lastSeen(std::optional<AgentProvider> only);

/// Saves what is known of all agents or, with `only`, of that one; then the sessions of the
/// others stay as they were last seen. For when somebody has answered: else nothing is newer.
void shareLastSeen(LastSeen seen, std::optional<AgentProvider> only);

/// Takes an agent's sessions out: it is not paired any more.
void forgetSessions(AgentProvider provider);

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <vector>

#include <IdlewynKit/model/SessionTransition.hpp>
#include <IdlewynKit/relay/LiveSessionService.hpp>

#include <tools/idlewyn/sessions/SharedSnapshot.hpp>

namespace idlewyn::command {

/// What watching knows of each agent, and whom to ask when. It does no asking itself.
///
///     watcher.follow(connections);
///     auto transitions =
///         watcher.take(relays.snapshot(watcher.due(now), watcher.snapshot()), now, then);
class Watcher {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Seconds = std::chrono::duration<double>;

  struct Agent {
    explicit Agent(Connection connection) : connection(std::move(connection)) {}

    Connection connection;
    /// When to ask next; the beginning of time for somebody new.
    Time due;
    /// In a row.
    int failures = 0;
    /// The relay refuses the token: asking again can't help.
    bool isRefused = false;
    /// Of the last try.
    std::exception_ptr error;
    /// When it last answered, perhaps before this watching began.
    std::optional<Date> answered;
    bool hasAnsweredHere = false;
  };

  /// `random` gives a number from 0 to 1 for each wait after a failure. What was seen before
  /// stands for each agent until it answers.
  Watcher(Seconds interval, std::function<double()> random, LastSeen before = {});

  /// The agents that are paired now. One that is paired anew begins anew.
  void follow(const std::vector<Connection>& connections);
  std::vector<Connection> due(Time now) const;
  /// What asking the agents due at `now` gave, known at `then`. The first answer of an agent
  /// gives no transitions: what it is compared with may be days old.
  std::vector<SessionTransition> take(SnapshotResult result, Time now, Time then);

  /// The last known sessions of all agents.
  const SessionSnapshot& snapshot() const noexcept { return snapshot_; }
  /// The same, with the times of their answers.
  LastSeen lastSeen() const;
  const std::map<AgentProvider, Agent>& agents() const noexcept { return agents_; }
  /// Of those whose last try failed.
  std::map<AgentProvider, std::exception_ptr> errors() const;
  /// When somebody is due; nothing when everybody refuses.
  std::optional<Time> next() const;

  /// Makes an agent due at once, unless it refuses.
  void hasten(AgentProvider provider, Time now);

  /// How long to wait after so many failures in a row.
  Seconds waitAfter(int failures) const;

 private:
  void note(Agent& agent, std::exception_ptr error, Time then);

  const Seconds interval_;
  const std::function<double()> random_;
  std::map<AgentProvider, Agent> agents_;
  SessionSnapshot snapshot_;
  /// From before, until the agents are known.
  std::map<AgentProvider, Date> answeredBefore_;
};

}  // namespace idlewyn::command

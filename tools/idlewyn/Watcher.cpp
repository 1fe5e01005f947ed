// SPDX-License-Identifier: MIT
#include "Watcher.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "Failure.hpp"

namespace idlewyn::command {
namespace {

constexpr Watcher::Seconds longestWait{60};

void forget(AgentProvider provider, SessionSnapshot& snapshot) {
  std::erase_if(snapshot.sessions,
                [&](const AgentSession& session) { return session.provider == provider; });
}

}  // namespace

Watcher::Watcher(Seconds interval, std::function<double()> random)
    : interval_(interval), random_(std::move(random)), snapshot_(SessionSnapshot::empty()) {}

void Watcher::follow(const std::vector<Connection>& connections) {
  std::map<AgentProvider, Agent> followed;
  for (const Connection& connection : connections) {
    const auto known = agents_.find(connection.provider);
    const bool isSame = known != agents_.end() && known->second.connection == connection;
    followed.emplace(connection.provider, isSame ? known->second : Agent(connection));
    if (!isSame) forget(connection.provider, snapshot_);
  }
  for (const auto& [provider, agent] : agents_) {
    if (!followed.contains(provider)) forget(provider, snapshot_);
  }
  agents_ = std::move(followed);
}

std::vector<Connection> Watcher::due(Time now) const {
  std::vector<Connection> connections;
  for (const auto& [provider, agent] : agents_) {
    if (!agent.isRefused && agent.due <= now) connections.push_back(agent.connection);
  }
  return connections;
}

std::vector<SessionTransition> Watcher::take(SnapshotResult result, Time now, Time then) {
  const auto asked = due(now);
  for (const AgentSession& session : snapshot_.sessions) {
    if (std::ranges::find(asked, session.provider, &Connection::provider) == asked.end()) {
      result.snapshot.sessions.push_back(session);
    }
  }
  for (const Connection& connection : asked) {
    const auto error = result.errors.find(connection.provider);
    note(agents_.at(connection.provider), error == result.errors.end() ? nullptr : error->second,
         then);
  }
  auto transitions = SessionTransition::detect(snapshot_, result.snapshot);
  snapshot_ = std::move(result.snapshot);
  return transitions;
}

void Watcher::note(Agent& agent, std::exception_ptr error, Time then) {
  agent.error = std::move(error);
  agent.failures = agent.error ? agent.failures + 1 : 0;
  agent.isRefused = agent.error && describe(agent.error).code == ExitCode::unauthorized;
  if (!agent.error) agent.answered = then;
  agent.due = then + std::chrono::duration_cast<Time::duration>(waitAfter(agent.failures));
}

// Doubled with each failure. Half of it is left to chance, so that many who lost one relay at
// one time don't come back at one time.
Watcher::Seconds Watcher::waitAfter(int failures) const {
  if (failures == 0) return interval_;
  const Seconds longest = std::max(interval_, longestWait);
  const Seconds doubled = interval_ * std::exp2(std::min(failures, 60));
  return std::max(interval_, std::min(longest, doubled) * (0.5 + random_() / 2));
}

std::map<AgentProvider, std::exception_ptr> Watcher::errors() const {
  std::map<AgentProvider, std::exception_ptr> errors;
  for (const auto& [provider, agent] : agents_) {
    if (agent.error) errors.emplace(provider, agent.error);
  }
  return errors;
}

std::optional<Watcher::Time> Watcher::next() const {
  std::optional<Time> first;
  for (const auto& [provider, agent] : agents_) {
    if (!agent.isRefused) first = first ? std::min(*first, agent.due) : agent.due;
  }
  return first;
}

void Watcher::hasten(AgentProvider provider, Time now) {
  const auto agent = agents_.find(provider);
  if (agent != agents_.end()) agent->second.due = std::min(agent->second.due, now);
}

}  // namespace idlewyn::command

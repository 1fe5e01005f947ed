// SPDX-License-Identifier: MIT
#include <tools/idlewyn/watch/Watcher.hpp>

#include <algorithm>
#include <cmath>
#include <utility>

#include <tools/idlewyn/failure/Failure.hpp>

namespace idlewyn::command {
namespace {

constexpr Watcher::Seconds longestWait{60};

void forget(AgentProvider provider, SessionSnapshot& snapshot) {
  std::erase_if(snapshot.sessions,
                [&](const AgentSession& session) { return session.provider == provider; });
}

}  // namespace

Watcher::Watcher(Seconds interval, std::function<double()> random, LastSeen before)
    : interval_(interval),
      random_(std::move(random)),
      snapshot_(std::move(before.snapshot)),
      answeredBefore_(std::move(before.answered)) {}

void Watcher::follow(const std::vector<Connection>& connections) {
  std::map<AgentProvider, Agent> followed;
  for (const Connection& connection : connections) {
    const auto known = agents_.find(connection.provider);
    const bool isKnown = known != agents_.end();
    const bool isSame = isKnown && known->second.connection == connection;
    Agent agent = isSame ? known->second : Agent(connection);
    const auto before = answeredBefore_.find(connection.provider);
    if (before != answeredBefore_.end()) agent.answered = before->second;
    followed.emplace(connection.provider, std::move(agent));
    if (isKnown && !isSame) forget(connection.provider, snapshot_);
  }
  answeredBefore_.clear();
  std::erase_if(snapshot_.sessions,
                [&](const AgentSession& session) { return !followed.contains(session.provider); });
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
  const Date taken = result.snapshot.updatedAt;
  const bool isAnswered = result.errors.size() < asked.size();
  if (!isAnswered) result.snapshot.updatedAt = snapshot_.updatedAt;
  for (const AgentSession& session : snapshot_.sessions) {
    if (std::ranges::find(asked, session.provider, &Connection::provider) == asked.end()) {
      result.snapshot.sessions.push_back(session);
    }
  }
  auto transitions = SessionTransition::detect(snapshot_, result.snapshot);
  std::erase_if(transitions, [&](const SessionTransition& transition) {
    return !agents_.at(transition.session.provider).hasAnsweredHere;
  });
  for (const Connection& connection : asked) {
    Agent& agent = agents_.at(connection.provider);
    const auto error = result.errors.find(connection.provider);
    note(agent, error == result.errors.end() ? nullptr : error->second, then);
    if (agent.error) continue;
    agent.answered = taken;
    agent.hasAnsweredHere = true;
  }
  snapshot_ = std::move(result.snapshot);
  return transitions;
}

void Watcher::note(Agent& agent, std::exception_ptr error, Time then) {
  agent.error = std::move(error);
  agent.failures = agent.error ? agent.failures + 1 : 0;
  agent.isRefused = agent.error && describe(agent.error).code == ExitCode::unauthorized;
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

LastSeen Watcher::lastSeen() const {
  LastSeen seen{snapshot_, {}};
  for (const auto& [provider, agent] : agents_) {
    if (agent.answered) seen.answered.emplace(provider, *agent.answered);
    if (agent.error)
      seen.errors.emplace(provider, AgentErrorRecord(provider, describe(agent.error)));
  }
  return seen;
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

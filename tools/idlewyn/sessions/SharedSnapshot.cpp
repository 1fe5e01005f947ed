// SPDX-License-Identifier: MIT
#include <tools/idlewyn/sessions/SharedSnapshot.hpp>

#include <cmath>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include <IdlewynKit/model/JSONCoding.hpp>
#include <IdlewynKit/storage/AppGroup.hpp>
#include <IdlewynKit/storage/SnapshotStore.hpp>

namespace idlewyn::command {
namespace {

using platform::DecodingKey;
using platform::field;

constexpr std::string_view key = "sessionAnswers";

// Beside the snapshot, which has one time for all. Other programs save only that one, so each
// names the snapshot to which it belongs by its time.
struct AnswerTimes {
  explicit AnswerTimes(const LastSeen& seen)
      : updatedAt(seen.snapshot.updatedAt),
        answers(seen.answerTimes()),
        errors(seen.errorRecords()) {}
  explicit AnswerTimes(DecodingKey) {}

  static constexpr auto fields() {
    return std::tuple{field("updatedAt", &AnswerTimes::updatedAt),
                      field("answers", &AnswerTimes::answers),
                      field("errors", &AnswerTimes::errors)};
  }

  Date updatedAt;
  std::vector<AnswerTime> answers;
  std::optional<std::vector<AgentErrorRecord>> errors;
};

std::optional<AnswerTimes> storedTimes() {
  const auto stored = AppGroup::userDefaults().data(key);
  if (!stored) return std::nullopt;
  try {
    return JSONDecoder::relay().decode<AnswerTimes>(*stored);
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

void saveTimes(const LastSeen& seen) {
  AppGroup::userDefaults().set(key, JSONEncoder::relay().encode(AnswerTimes(seen)));
}

void save(const LastSeen& seen) {
  SnapshotStore::shared().save(seen.snapshot);
  saveTimes(seen);
}

LastSeen all() {
  LastSeen seen{SnapshotStore::shared().load(), {}};
  const auto times = storedTimes();
  if (times && times->updatedAt == seen.snapshot.updatedAt) {
    for (const AnswerTime& time : times->answers)
      seen.answered[time.agent] = time.answeredAt;
    if (!times->errors) return seen;
    for (const AgentErrorRecord& error : *times->errors)
      seen.errors.insert_or_assign(error.agent, error);
  } else {
    for (const AgentSession& session : seen.snapshot.sessions)
      seen.answered[session.provider] = seen.snapshot.updatedAt;
  }
  return seen;
}

}  // namespace

std::vector<AnswerTime> LastSeen::answerTimes() const {
  std::vector<AnswerTime> times;
  for (const auto& [agent, answeredAt] : answered)
    times.emplace_back(agent, answeredAt);
  return times;
}

std::vector<AgentErrorRecord> LastSeen::errorRecords() const {
  std::vector<AgentErrorRecord> records;
  for (const auto& [agent, error] : errors) {
    AgentErrorRecord& record = records.emplace_back(error);
    const auto known = answered.find(agent);
    if (known != answered.end()) record.answeredAt = known->second;
  }
  return records;
}

OldAgents LastSeen::failedAgents() const {
  OldAgents old;
  for (const auto& [agent, error] : errors) {
    const auto known = answered.find(agent);
    old.emplace(agent, known == answered.end() ? snapshot.updatedAt : known->second);
  }
  return old;
}

OldAgents LastSeen::oldAgents(Date now) const {
  constexpr double longest = 300;  // seconds
  OldAgents old = failedAgents();
  for (const auto& [agent, when] : answered) {
    // A time that is yet to come was taken by a clock that has been set back since.
    if (std::abs((now - when).count()) > longest) old.emplace(agent, when);
  }
  return old;
}

LastSeen lastSeen(std::optional<AgentProvider> only) {
  LastSeen seen = all();
  if (!only) return seen;
  const auto answered = seen.answered.find(*only);
  const Date when = answered == seen.answered.end() ? platform::distantPast : answered->second;
  seen.snapshot = SessionSnapshot(seen.snapshot.sessionsFor(*only), when);
  std::erase_if(seen.answered, [&](const auto& entry) { return entry.first != *only; });
  std::erase_if(seen.errors, [&](const auto& entry) { return entry.first != *only; });
  return seen;
}

LastSeen lastSeen(const SnapshotResult& result, const std::vector<Connection>& asked,
                  const LastSeen& before) {
  LastSeen seen{result.snapshot, {}};
  for (const Connection& connection : asked) {
    const AgentProvider agent = connection.provider;
    const auto earlier = before.answered.find(agent);
    if (!result.errors.contains(agent)) {
      seen.answered[agent] = result.snapshot.updatedAt;
    } else if (earlier != before.answered.end()) {
      seen.answered.insert(*earlier);
    }
  }
  for (const auto& [agent, error] : result.errors)
    seen.errors.emplace(agent, AgentErrorRecord(agent, describe(error)));
  if (result.errors.size() == asked.size()) seen.snapshot.updatedAt = before.snapshot.updatedAt;
  return seen;
}

void shareLastSeen(LastSeen seen, std::optional<AgentProvider> only, bool hasAnswered) {
  if (!hasAnswered) {
    LastSeen stored = all();
    for (const auto& [agent, error] : seen.errors)
      stored.errors.insert_or_assign(agent, error);
    return saveTimes(stored);
  }
  // The rest is dropped when all were asked: what is left there is of agents that were unpaired.
  if (only) {
    LastSeen stored = all();
    for (AgentSession& session : stored.snapshot.sessions) {
      if (session.provider != *only) seen.snapshot.sessions.push_back(std::move(session));
    }
    stored.answered.erase(*only);
    stored.errors.erase(*only);
    seen.answered.merge(stored.answered);
    seen.errors.merge(stored.errors);
  }
  save(seen);
}

void forgetSessions(AgentProvider provider) {
  LastSeen seen = all();
  const auto removed = std::erase_if(seen.snapshot.sessions, [&](const AgentSession& session) {
    return session.provider == provider;
  });
  const auto forgotten = seen.answered.erase(provider) + seen.errors.erase(provider);
  if (forgotten + removed == 0) return;
  if (seen.snapshot.sessions.empty()) return SnapshotStore::shared().clear();
  save(seen);
}

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#include <tools/idlewyn/sessions/SharedSnapshot.hpp>

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
      : updatedAt(seen.snapshot.updatedAt), answers(seen.answerTimes()) {}
  explicit AnswerTimes(DecodingKey) {}

  static constexpr auto fields() {
    return std::tuple{field("updatedAt", &AnswerTimes::updatedAt),
                      field("answers", &AnswerTimes::answers)};
  }

  Date updatedAt;
  std::vector<AnswerTime> answers;
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

void save(const LastSeen& seen) {
  SnapshotStore::shared().save(seen.snapshot);
  AppGroup::userDefaults().set(key, JSONEncoder::relay().encode(AnswerTimes(seen)));
}

LastSeen all() {
  LastSeen seen{SnapshotStore::shared().load(), {}};
  const auto times = storedTimes();
  if (times && times->updatedAt == seen.snapshot.updatedAt) {
    for (const AnswerTime& time : times->answers)
      seen.answered[time.agent] = time.answeredAt;
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

LastSeen lastSeen(std::optional<AgentProvider> only) {
  LastSeen seen = all();
  if (!only) return seen;
  const auto answered = seen.answered.find(*only);
  const Date when = answered == seen.answered.end() ? platform::distantPast : answered->second;
  seen.snapshot = SessionSnapshot(seen.snapshot.sessionsFor(*only), when);
  std::erase_if(seen.answered, [&](const auto& entry) { return entry.first != *only; });
  return seen;
}

void shareLastSeen(LastSeen seen, std::optional<AgentProvider> only) {
  // The rest is dropped when all were asked: what is left there is of agents that were unpaired.
  if (only) {
    LastSeen stored = all();
    for (AgentSession& session : stored.snapshot.sessions) {
      if (session.provider != *only) seen.snapshot.sessions.push_back(std::move(session));
    }
    seen.answered.merge(stored.answered);
  }
  save(seen);
}

void forgetSessions(AgentProvider provider) {
  LastSeen seen = all();
  const auto removed = std::erase_if(seen.snapshot.sessions, [&](const AgentSession& session) {
    return session.provider == provider;
  });
  if (seen.answered.erase(provider) + removed == 0) return;
  if (seen.snapshot.sessions.empty()) return SnapshotStore::shared().clear();
  save(seen);
}

}  // namespace idlewyn::command

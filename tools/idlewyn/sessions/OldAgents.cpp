// SPDX-License-Identifier: MIT
#include <tools/idlewyn/sessions/OldAgents.hpp>

#include <algorithm>
#include <utility>

#include <IdlewynKit/model/SnapshotLead.hpp>

namespace idlewyn::command {
namespace {

std::string counted(double number, const char* unit) {
  const auto whole = static_cast<long long>(number);
  return std::to_string(whole) + " " + unit + (whole == 1 ? "" : "s") + " ago";
}

bool isOld(const AgentSession& session, const OldAgents& old) {
  return old.contains(session.provider);
}

}  // namespace

SessionSnapshot live(SessionSnapshot snapshot, const OldAgents& old) {
  std::erase_if(snapshot.sessions,
                [&](const AgentSession& session) { return isOld(session, old); });
  return snapshot;
}

std::vector<AgentSession> inDisplayOrder(const SessionSnapshot& snapshot, const OldAgents& old) {
  std::vector<AgentSession> sessions = snapshot.sorted();
  std::ranges::stable_partition(sessions,
                                [&](const AgentSession& session) { return !isOld(session, old); });
  return sessions;
}

Date ageBase(const AgentSession& session, const OldAgents& old, Date now) {
  const auto agent = old.find(session.provider);
  return agent == old.end() ? now : std::min(now, agent->second);
}

std::string summaryOf(const SessionSnapshot& snapshot, const OldAgents& old, Date now) {
  const SessionSnapshot current = live(snapshot, old);
  const bool isNothingLive = current.sessions.empty() && !snapshot.sessions.empty();
  const SnapshotLead lead(current);
  std::string text = isNothingLive ? "Nothing is live" : lead.summary();
  const bool isNeeded = !lead.isEmpty() && lead.status() == SessionStatus::waitingForInput;
  for (const auto& [agent, answered] : old) {
    const auto waiting = SessionSnapshot(snapshot.sessionsFor(agent), answered)
                             .count(SessionStatus::waitingForInput);
    if (waiting == 0) continue;
    text += ", and " + std::to_string(waiting) + " of " + std::string(shortName(agent)) + "'s " +
            (isNeeded ? "" : "needed you ") + agoText((now - answered).count());
  }
  return text;
}

std::string agoText(double seconds) {
  constexpr double minute = 60, hour = 3600, day = 86400, longest = 1e12;
  seconds = seconds > 0 ? std::min(seconds, longest) : 0;  // also what is not a number
  if (seconds >= 2 * day) return counted(seconds / day, "day");
  if (seconds >= hour) return counted(seconds / hour, "hour");
  if (seconds >= minute) return counted(seconds / minute, "minute");
  return counted(seconds, "second");
}

}  // namespace idlewyn::command

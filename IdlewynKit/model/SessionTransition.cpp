// SPDX-License-Identifier: MIT
#include <IdlewynKit/model/SessionTransition.hpp>

#include <functional>
#include <string_view>

#include <boost/unordered/unordered_flat_map.hpp>

namespace idlewyn {

namespace {

using SessionsByID =
    boost::unordered_flat_map<std::string_view, const AgentSession*, std::hash<std::string_view>>;

SessionsByID indexByID(const std::vector<AgentSession>& sessions) {
  SessionsByID index;
  index.reserve(sessions.size());
  for (const AgentSession& session : sessions)
    index.insert_or_assign(session.id, &session);
  return index;
}

bool hasNewPrompt(const AgentSession& before, const AgentSession& now) {
  return now.permission && (!before.permission || before.permission->id != now.permission->id);
}

bool needsUserNow(const AgentSession& before, const AgentSession& now) {
  return hasNewPrompt(before, now) || !needsAttention(before.status);
}

}  // namespace

std::vector<SessionTransition> SessionTransition::detect(const SessionSnapshot& from,
                                                         const SessionSnapshot& to) {
  const SessionsByID previous = indexByID(from.sessions);
  std::vector<SessionTransition> transitions;
  for (const AgentSession& session : to.sessions) {
    if (!needsAttention(session.status)) continue;
    const auto before = previous.find(std::string_view(session.id));
    if (before == previous.end() || !needsUserNow(*before->second, session)) continue;
    transitions.push_back(SessionTransition(session, before->second->status));
  }
  return transitions;
}

}  // namespace idlewyn

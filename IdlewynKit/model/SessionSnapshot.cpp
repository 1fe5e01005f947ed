// SPDX-License-Identifier: MIT
#include <IdlewynKit/model/SessionSnapshot.hpp>

#include <algorithm>

#include <IdlewynKit/model/internal/DisplayOrder.hpp>

namespace idlewyn {

const SessionSnapshot& SessionSnapshot::empty() {
  static const SessionSnapshot& snapshot = *new SessionSnapshot;
  return snapshot;
}

std::vector<AgentSession> SessionSnapshot::sorted() const {
  constexpr std::size_t lookAhead = 8;
  const auto order = internal::displayOrder(sessions);
  std::vector<AgentSession> result;
  result.reserve(order.size());
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (i + lookAhead < order.size()) {
      const char* next = reinterpret_cast<const char*>(&sessions[order[i + lookAhead]]);
      for (std::size_t line = 0; line < sizeof(AgentSession); line += 64) {
        __builtin_prefetch(next + line);
      }
    }
    result.push_back(sessions[order[i]]);
  }
  return result;
}

std::int64_t SessionSnapshot::count(SessionStatus status) const noexcept {
  return std::count_if(sessions.begin(), sessions.end(),
                       [&](const AgentSession& session) { return session.status == status; });
}

std::int64_t SessionSnapshot::workingCount() const noexcept {
  return count(SessionStatus::working);
}

std::int64_t SessionSnapshot::attentionCount() const noexcept {
  return std::count_if(sessions.begin(), sessions.end(),
                       [](const AgentSession& session) { return needsAttention(session.status); });
}

bool SessionSnapshot::allFinished() const noexcept {
  return !sessions.empty() && workingCount() == 0;
}

std::vector<AgentSession> SessionSnapshot::sessionsFor(AgentProvider provider) const {
  std::vector<AgentSession> result;
  std::copy_if(sessions.begin(), sessions.end(), std::back_inserter(result),
               [&](const AgentSession& session) { return session.provider == provider; });
  return result;
}

}  // namespace idlewyn

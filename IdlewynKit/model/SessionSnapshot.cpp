// SPDX-License-Identifier: MIT
#include <IdlewynKit/model/SessionSnapshot.hpp>

#include <algorithm>

#include <IdlewynKit/model/internal/DisplayOrder.hpp>

namespace idlewyn {

namespace {

void prefetch(const AgentSession& session) {
  const char* begin = reinterpret_cast<const char*>(&session);
  for (std::size_t line = 0; line < sizeof(AgentSession); line += 64)
    __builtin_prefetch(begin + line);
}

void prefetchTexts(const AgentSession& session) {
  __builtin_prefetch(session.id.data());
  __builtin_prefetch(session.title.data());
  for (const auto* text : {&session.workingDirectory, &session.summary, &session.activity})
    if (*text) __builtin_prefetch((*text)->data());
  if (session.permission) __builtin_prefetch(session.permission->detail.data());
}

}  // namespace

const SessionSnapshot& SessionSnapshot::empty() {
  static const SessionSnapshot& snapshot = *new SessionSnapshot;
  return snapshot;
}

std::vector<AgentSession> SessionSnapshot::sorted() const {
  // The texts of a session can be fetched once the session is there.
  constexpr std::size_t textsAhead = 8, sessionsAhead = 16;
  const auto order = internal::displayOrder(sessions);
  std::vector<AgentSession> result;
  result.reserve(order.size());
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (i + sessionsAhead < order.size()) prefetch(sessions[order[i + sessionsAhead]]);
    if (i + textsAhead < order.size()) prefetchTexts(sessions[order[i + textsAhead]]);
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

// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <IdlewynKit/model/AgentSession.hpp>

/// Sessions for tests: small to write, every field settable afterwards.
namespace idlewyn::testing {

inline AgentSession makeSession(std::string id, SessionStatus status = SessionStatus::working,
                                double updatedAt = 0,
                                AgentProvider provider = AgentProvider::claude) {
  return AgentSession(std::move(id), provider, "title", std::nullopt, status, Date{},
                      platform::dateFromReferenceSeconds(updatedAt), std::nullopt, std::nullopt,
                      std::nullopt, std::nullopt, std::nullopt, std::nullopt);
}

inline PermissionPrompt makePrompt(std::string id, std::string detail = "make test") {
  return PermissionPrompt(std::move(id), "Bash", std::move(detail), Date{}, std::nullopt);
}

inline AgentSession withPrompt(AgentSession session, std::string promptID,
                               std::string detail = "make test") {
  session.permission = makePrompt(std::move(promptID), std::move(detail));
  return session;
}

inline std::vector<std::string> idsOf(const std::vector<AgentSession>& sessions) {
  std::vector<std::string> ids;
  for (const AgentSession& session : sessions)
    ids.push_back(session.id);
  return ids;
}

}  // namespace idlewyn::testing

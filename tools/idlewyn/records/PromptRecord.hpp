// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include <IdlewynKit/model/AgentSession.hpp>

namespace idlewyn::command {

/// A prompt together with the session that waits on it; also its form for programs.
struct PromptRecord {
  PromptRecord(AgentProvider agent, std::string sessionID, std::string sessionTitle,
               const PermissionPrompt& prompt)
      : agent(agent),
        sessionID(std::move(sessionID)),
        sessionTitle(std::move(sessionTitle)),
        id(prompt.id),
        toolName(prompt.toolName),
        detail(prompt.detail),
        alwaysRule(prompt.alwaysRule) {
    if (alwaysRule && alwaysRule->empty()) alwaysRule.reset();
  }
  explicit PromptRecord(platform::DecodingKey) {}

  static constexpr auto fields() {
    using platform::field;
    using P = PromptRecord;
    return std::tuple{field("agent", &P::agent),
                      field("sessionID", &P::sessionID),
                      field("sessionTitle", &P::sessionTitle),
                      field("id", &P::id),
                      field("toolName", &P::toolName),
                      field("detail", &P::detail),
                      field("alwaysRule", &P::alwaysRule)};
  }

  AgentProvider agent{};
  std::string sessionID;
  std::string sessionTitle;
  std::string id;
  std::string toolName;
  std::string detail;
  /// Never empty: nobody could see what `always` would add.
  std::optional<std::string> alwaysRule;
};

}  // namespace idlewyn::command

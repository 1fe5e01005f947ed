// SPDX-License-Identifier: MIT
#include <tools/relay/agents/codex/Rollout.hpp>

#include <tools/relay/agents/Json.hpp>

namespace idlewyn::relay::codex {

std::string errorMessage(std::string_view text) {
  const auto document = json::parsed(text);
  const json::Object* error = document ? json::object(*document, "error") : nullptr;
  const std::string_view message = error ? json::text(*error, "message") : std::string_view();
  return std::string(message.empty() ? text : message);
}

std::optional<TurnEnd> turnEnd(std::string_view line) {
  // Most lines are long and of other kinds.
  if (line.find("\"event_msg\"") == std::string_view::npos) return std::nullopt;
  const auto document = json::parsed(line);
  if (!document || json::text(*document, "type") != "event_msg") return std::nullopt;
  const json::Object* payload = json::object(*document, "payload");
  if (!payload) return std::nullopt;
  const std::string_view kind = json::text(*payload, "type");
  if (kind == "turn_aborted") return TurnEnd(TurnEnd::Kind::interrupted, {});
  if (kind != "task_complete") return std::nullopt;
  if (const json::Object* error = json::object(*payload, "error"))
    return TurnEnd(TurnEnd::Kind::failed, errorMessage(json::text(*error, "message")));
  return TurnEnd(TurnEnd::Kind::finished, std::string(json::text(*payload, "last_agent_message")));
}

}  // namespace idlewyn::relay::codex

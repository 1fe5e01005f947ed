// SPDX-License-Identifier: MIT
#include <tools/relay/agents/Hook.hpp>

#include <array>
#include <charconv>
#include <functional>

namespace idlewyn::relay {

std::optional<HookEvent> hookEvent(std::string_view text) {
  const std::size_t end = text.find('\n');
  if (end == std::string_view::npos) return std::nullopt;
  std::array<std::string_view, 5> words;
  std::string_view head = text.substr(0, end);
  for (std::string_view& word : words) {
    const std::size_t space = head.find(' ');
    word = head.substr(0, space);
    head.remove_prefix(space == std::string_view::npos ? head.size() : space + 1);
  }
  auto payload = json::parsed(text.substr(end + 1));
  if (!payload || words[1].empty()) return std::nullopt;
  HookEvent event;
  event.agent = words[0];
  event.name = words[1];
  std::from_chars(words[2].data(), words[2].data() + words[2].size(), event.parent);
  event.nonce = words[3];
  std::from_chars(words[4].data(), words[4].data() + words[4].size(), event.parentStart);
  event.payload = std::move(*payload);
  return event;
}

std::string dialogNames(const std::string& agentID) {
  return std::to_string(std::hash<std::string>()(agentID)) + "/";
}

std::string dialogName(const std::string& agentID, const std::string& tool,
                       const std::string& input) {
  return dialogNames(agentID) + std::to_string(std::hash<std::string>()(tool + "\n" + input));
}

}  // namespace idlewyn::relay

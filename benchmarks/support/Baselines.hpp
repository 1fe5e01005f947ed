// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <IdlewynKit/model/AgentSession.hpp>

/// Other ways to read and write a list of sessions.
namespace idlewyn::bench {

/// The fields of a session and of a prompt as plain aggregates.
struct PlainPrompt {
  std::string id, toolName, detail;
  double createdAt = 0;
  std::optional<std::string> alwaysRule;
};
struct PlainSession {
  std::string id;
  AgentProvider provider{};
  std::string title;
  std::optional<std::string> workingDirectory;
  SessionStatus status{};
  double startedAt = 0, updatedAt = 0;
  std::optional<std::string> summary;
  std::optional<PlainPrompt> permission;
  std::optional<std::string> activity;
  std::optional<double> turnStartedAt;
  std::optional<std::int64_t> taskDone, taskTotal;
};

/// Written by hand for exactly these records, over the parser that the library uses. Its dates are
/// of the one form that relays write.
std::optional<std::vector<PlainSession>> decodeByHand(const std::string& json);
/// The parser alone: the number of elements.
std::size_t parseOnly(const std::string& json);
/// Written by hand: texts sixteen bytes at a time, dates of that form, `std::to_chars`. Texts must
/// be UTF-8.
std::string encodeByHand(const std::vector<AgentSession>& sessions, std::size_t reserved);

/// A generic JSON library with its conversions to and from types, and the C library's dates.
std::vector<PlainSession> decodeGenerically(const std::string& json);
std::string encodeGenerically(const std::vector<PlainSession>& sessions);

}  // namespace idlewyn::bench

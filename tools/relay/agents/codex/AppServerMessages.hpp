// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <tools/relay/agents/Json.hpp>

/// What Codex's app-server sends, as far as the relay reads it. Threads are its sessions; a
/// subagent is a thread that names another one as its session.
namespace idlewyn::relay::codex {

struct ThreadStatus {
  enum class Kind : std::uint8_t { notLoaded, idle, active, failed };

  friend bool operator==(const ThreadStatus&, const ThreadStatus&) = default;

  Kind kind = Kind::notLoaded;
  /// An active thread's dialog is open: an approval or a question.
  bool isWaiting = false;
};

/// `object` is the `status` of a thread or of a notification. Anything unknown is not loaded.
ThreadStatus threadStatus(const json::Object& object);

struct ThreadRecord {
  friend bool operator==(const ThreadRecord&, const ThreadRecord&) = default;

  std::string id;
  /// The thread that people see: its own id, or that of the thread whose subagent it is.
  std::string sessionID;
  std::string workingDirectory;
  /// What the person named it, else the beginning of the first prompt. Empty before that.
  std::string title;
  ThreadStatus status;
  /// Codex's own work, such as finding a title: no session of the person's.
  bool isHidden = false;
};

/// No value without an id.
std::optional<ThreadRecord> threadRecord(const json::Object& thread);

/// The files that an item is about to change, and how: what people decide on.
std::string changesText(const json::Object& item);

/// What an item is doing, in one line; empty for one that does nothing worth a line.
std::string activityOf(const json::Object& item);

struct ApprovalRequest {
  friend bool operator==(const ApprovalRequest&, const ApprovalRequest&) = default;

  /// As it came: a number or a text. The answer carries it again.
  json::Value id;
  std::string threadID;
  std::string itemID;
  /// Distinguishes several requests of one item; mostly empty.
  std::string approvalID;
  std::string toolName;
  /// Everything that will run or be written. Empty when that isn't known, or when the request
  /// asks for more than one call: then only the terminal can answer.
  std::string detail;
  /// The words with which a command must begin to run unasked from now on; empty where Codex
  /// offers no such rule.
  std::vector<std::string> prefix;
};

/// The request for approval that a message makes; no value for any other message. A patch's
/// text comes from the item that was announced before, by its id in `items`.
std::optional<ApprovalRequest> approvalRequest(const json::Object& message,
                                               const std::map<std::string, json::Object>& items);

/// "Bash(touch x.txt, and whatever follows)".
std::string prefixRule(const std::vector<std::string>& prefix);

}  // namespace idlewyn::relay::codex

// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <tools/relay/agents/Json.hpp>

/// What the hook program tells the relay, as the adapters of the agents take it.
namespace idlewyn::relay {

/// A hook program that waits for an answer to its question.
class WaitingHook {
 public:
  virtual ~WaitingHook() = default;
  /// The relay holds the question. The hook leaves by itself after `bound`; without one it waits
  /// as long as its agent does.
  virtual void hold(std::optional<std::chrono::seconds> bound) = 0;
  /// Makes the hook print `output` and end; an empty text leaves the question to the terminal.
  /// Returns false if the hook has gone already, so that nothing was printed.
  virtual bool finish(const std::string& output) = 0;
};

/// One call of the hook program.
struct HookEvent {
  /// As on its command line: "claude" or "codex", and the event's name.
  std::string agent;
  std::string name;
  json::Object payload;
  /// The hook's parent: the agent, or the shell that the agent started. 0 when unknown.
  std::int64_t parent = 0;
  /// When that process began, in the kernel's ticks. Numbers of processes are used again.
  std::uint64_t parentStart = 0;
  /// The same when the hook asks again after the relay has restarted.
  std::string nonce;
  /// Set for a question; finished in every case.
  std::shared_ptr<WaitingHook> waiting;
};

/// Reads what the hook program sends: a line `AGENT EVENT PARENT NONCE START`, then the payload as
/// a JSON object. Returns nothing for anything else.
std::optional<HookEvent> hookEvent(std::string_view text);

/// A name for the dialog of a call, and the beginning that the names of one subagent's dialogs
/// have. The main agent is the one with an empty id.
std::string dialogName(const std::string& agentID, const std::string& tool,
                       const std::string& input);
std::string dialogNames(const std::string& agentID);

/// Longer names of sessions are nobody's.
constexpr std::size_t longestSessionID = 200;

/// Takes the events of one agent.
class HookReceiver {
 public:
  virtual ~HookReceiver() = default;
  virtual void receive(const HookEvent& event) = 0;
  /// The hook has gone without an answer: its bound ran out, or its agent ended it.
  virtual void gone(const std::shared_ptr<WaitingHook>& waiting) = 0;
};

}  // namespace idlewyn::relay

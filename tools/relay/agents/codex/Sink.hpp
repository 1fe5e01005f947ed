// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <IdlewynKit/model/PermissionPrompt.hpp>

/// Where the sources of Codex's sessions report to. A session is named by the identifier that
/// Codex gives it, whichever source reports.
namespace idlewyn::relay::codex {

struct Question {
  std::string sessionID;
  /// The subagent that asks; empty for the session itself.
  std::string agentID;
  std::string toolName;
  /// Everything that will run or be written. Empty: only the terminal can answer.
  std::string detail;
  std::optional<std::string> alwaysRule;
  /// The same for the same question, also after the relay has restarted. Secret to nobody.
  std::string key;
};

class Sink {
 public:
  /// Takes the person's answer, or no value when the question is given back to the terminal.
  /// Called once at most, and never after `withdraw`.
  /// False when whoever asked has gone.
  using Answer = std::function<bool(std::optional<PermissionDecision>)>;

  virtual ~Sink() = default;

  /// The session exists. Empty texts say nothing new.
  virtual void seen(const std::string& sessionID, const std::string& title,
                    const std::string& workingDirectory) = 0;
  virtual void turnBegan(const std::string& sessionID) = 0;
  virtual void activity(const std::string& sessionID, const std::string& text) = 0;
  virtual void progress(const std::string& sessionID, std::int64_t done, std::int64_t total) = 0;
  /// A dialog is open at the terminal, or those with names that begin like this no longer are.
  virtual void waiting(const std::string& sessionID, const std::string& dialog, bool isWaiting) = 0;
  virtual void finished(const std::string& sessionID, const std::string& summary) = 0;
  virtual void failed(const std::string& sessionID, const std::string& summary) = 0;
  virtual void interrupted(const std::string& sessionID) = 0;
  virtual void ended(const std::string& sessionID) = 0;

  /// Opens a prompt. The identifier that `withdraw` takes; empty when nothing was opened.
  virtual std::string ask(Question question, Answer answer) = 0;
  virtual void withdraw(const std::string& promptID) = 0;
};

}  // namespace idlewyn::relay::codex

// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <IdlewynKit/model/AgentProvider.hpp>

#include <tools/idlewyn/records/PromptRecord.hpp>

namespace idlewyn::command {

/// What the shell gets to know. The numbers are part of the interface.
enum class ExitCode : int {
  ok = 0,
  failure = 1,
  usage = 2,
  someAgentsFailed = 3,
  unauthorized = 4,
  certificateMismatch = 10,
  promptExpired = 11,
  tooManyAttempts = 12,
  invalidResponse = 13,
  serverStatus = 14,
  network = 20,
  interrupted = 130,
};

/// Why a command ends early. `kind` names it for programs, `message` is a sentence for people
/// that holds no secret and is escaped where it quotes.
struct Failure : std::exception {
  Failure(ExitCode code, std::string kind, std::string message)
      : code(code), kind(std::move(kind)), message(std::move(message)) {}

  const char* what() const noexcept override { return message.c_str(); }

  ExitCode code;
  std::string kind;
  std::string message;
  /// Further lines for people, escaped.
  std::vector<std::string> details;
  /// Where a certificate was refused: the pinned fingerprint, and the server's if it was seen.
  std::optional<std::string> expectedFingerprint;
  std::optional<std::string> seenFingerprint;
  /// The prompts that could be meant, where a prompt id was refused or came too late.
  std::vector<PromptRecord> candidates;
};

Failure usageFailure(std::string message);

/// The user asked the command to end, by signal.
Failure interruption();

/// Any error of the library, or a Failure itself.
Failure describe(const std::exception_ptr& error);

/// Of a run over `agents` agents: the common code when all of them failed alike.
ExitCode exitCodeOf(const std::map<AgentProvider, std::exception_ptr>& errors, std::size_t agents);

}  // namespace idlewyn::command

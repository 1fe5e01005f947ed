// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ConnectionList.hpp"
#include "Failure.hpp"
#include "Output.hpp"
#include "Relays.hpp"

/// What each command takes and does. They throw a Failure, or what the library throws.
namespace idlewyn::command {

struct Surroundings {
  Output& output;
  ConnectionList& connections;
  Relays& relays;
};

struct PairOptions {
  PairOptions() = default;

  std::optional<AgentProvider> agent;
  /// A pairing link, or "-" for one on standard input; empty to pair by address and code.
  std::string link;
  std::string address;
  /// "-" for one on standard input.
  std::string code;
};
ExitCode runPair(const PairOptions& options, Surroundings& with);

struct SessionsOptions {
  SessionsOptions() = default;

  std::optional<AgentProvider> agent;
};
ExitCode runSessions(const SessionsOptions& options, Surroundings& with);

struct WatchOptions {
  WatchOptions() = default;

  std::optional<AgentProvider> agent;
  /// Seconds between rounds.
  double interval = 5;
  /// 0 goes on until a signal comes.
  std::uint64_t rounds = 0;
};
ExitCode runWatch(const WatchOptions& options, Surroundings& with);

struct AnswerOptions {
  explicit AnswerOptions(PermissionDecision decision) : decision(decision) {}

  PermissionDecision decision;
  std::optional<AgentProvider> agent;
  std::string prompt;
};
ExitCode runAnswer(const AnswerOptions& options, Surroundings& with);

struct ApprovalsOptions {
  ApprovalsOptions() = default;

  std::optional<AgentProvider> agent;
  /// Absent to read only.
  std::optional<bool> enabled;
};
ExitCode runApprovals(const ApprovalsOptions& options, Surroundings& with);

struct UnpairOptions {
  UnpairOptions() = default;

  std::optional<AgentProvider> agent;
  /// Without telling the relay.
  bool forget = false;
};
ExitCode runUnpair(const UnpairOptions& options, Surroundings& with);

struct DemoOptions {
  DemoOptions() = default;

  bool offline = false;
};
/// Uses nothing of the user's: connections are kept in a directory of its own, which goes again.
ExitCode runDemo(const DemoOptions& options, Output& output, Relays& relays);

}  // namespace idlewyn::command

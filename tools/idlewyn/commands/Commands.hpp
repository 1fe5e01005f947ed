// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

#include <tools/idlewyn/commands/CommandTable.hpp>
#include <tools/idlewyn/failure/Failure.hpp>
#include <tools/idlewyn/pairings/ConnectionList.hpp>
#include <tools/idlewyn/relays/Relays.hpp>
#include <tools/idlewyn/terminal/Output.hpp>

/// What each command does. They throw a Failure, or what the library throws.
namespace idlewyn::command {

/// What commands work with.
struct Surroundings {
  using Open = std::function<std::unique_ptr<ConnectionList>()>;

  Surroundings(Output& output, Relays& relays, Open open)
      : output(output), relays(relays), open_(std::move(open)) {}

  /// Opened at the first use, which may throw a Failure.
  ConnectionList& connections() {
    if (!connections_) connections_ = open_();
    return *connections_;
  }

  Output& output;
  Relays& relays;

 private:
  Open open_;
  std::unique_ptr<ConnectionList> connections_;
};

ExitCode runPair(const Arguments& given, Surroundings& with);
ExitCode runUnpair(const Arguments& given, Surroundings& with);

ExitCode runConnections(const Arguments& given, Surroundings& with);
ExitCode runKeychainWhere(const Arguments& given, Surroundings& with);
ExitCode runKeychainMove(const Arguments& given, Surroundings& with);
ExitCode runPushRegister(const Arguments& given, Surroundings& with);

/// From the shared snapshot, without the network.
ExitCode runStatus(const Arguments& given, Surroundings& with);
/// Of the shared snapshot, with the drawing module.
ExitCode runRender(const Arguments& given, Surroundings& with);
ExitCode runSessions(const Arguments& given, Surroundings& with);
/// One session or prompt, whole.
ExitCode runShow(const Arguments& given, Surroundings& with);
ExitCode runWatch(const Arguments& given, Surroundings& with);

ExitCode runAnswer(PermissionDecision decision, const Arguments& given, Surroundings& with);
/// Reads, or with a `switch` sets.
ExitCode runApprovals(const Arguments& given, Surroundings& with);

ExitCode runPinShow(const Arguments& given, Surroundings& with);
ExitCode runPinVerify(const Arguments& given, Surroundings& with);
ExitCode runPinReplace(const Arguments& given, Surroundings& with);

/// Looks at everything that pairing, watching and answering stand on.
ExitCode runDoctor(const Arguments& given, Surroundings& with);

/// Uses nothing of the user's: connections are kept in a directory of its own, which goes again.
ExitCode runDemo(const Arguments& given, Surroundings& with);

ExitCode runCompletions(const Arguments& given, Surroundings& with);
/// The manual page, or what `--help` shows.
ExitCode runHelp(const Arguments& given, Surroundings& with);
/// The ids of open prompts, for completions: quick, and silent about what fails.
ExitCode runPromptIDs(const Arguments& given, Surroundings& with);

}  // namespace idlewyn::command

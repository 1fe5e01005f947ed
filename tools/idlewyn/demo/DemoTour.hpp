// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <map>
#include <string>

#include <IdlewynKit/model/SessionSnapshot.hpp>

#include <tools/idlewyn/demo/SandboxProcess.hpp>
#include <tools/idlewyn/demo/Tour.hpp>
#include <tools/idlewyn/pairings/ConnectionList.hpp>
#include <tools/idlewyn/records/PromptRecord.hpp>
#include <tools/idlewyn/relays/Relays.hpp>

namespace idlewyn::command {

/// The main job from pairing to answering, and what happens when things go wrong, on two
/// sandbox relays: one for each agent.
class DemoTour {
 public:
  /// Pictures are written into the folder, which is made when it isn't there.
  DemoTour(Tour& tour, Relays& relays, ConnectionList& connections, std::string pictures);

  void run();

 private:
  void showRelays();
  void pairByLink();
  void pairByAddress();
  void takeSnapshot();
  void detectTransitions();
  void answerPrompt();
  void answerAgain(const PromptRecord& prompt, const Connection& connection);
  void refuseCertificate();
  void pairAnew();
  void losePeer();
  void drawPictures();

  Connection pairClaude();
  void keep(const Connection& connection);
  void showSnapshot(const SnapshotResult& result);
  /// Of the kept connections, with the last snapshot to fall back on.
  SnapshotResult fetch();

  Tour& tour_;
  Relays& relays_;
  ConnectionList& connections_;
  const std::string pictures_;
  SandboxProcess claude_;
  SandboxProcess codex_;
  Date now_;
  SessionSnapshot last_;
};

/// The table, the lead and the summary line; expects the table's order to be the display order.
void showSessions(Tour& tour, const SessionSnapshot& snapshot, Date now);

}  // namespace idlewyn::command

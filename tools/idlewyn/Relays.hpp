// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <IdlewynKit/relay/LiveSessionService.hpp>

namespace idlewyn::command {

/// The session service for a program that does one thing after the other: each call runs to its
/// end. SIGINT and SIGTERM, from `listen` or the first call on, cancel what is in flight; the
/// call, or the next one, then throws a Failure of kind "interrupted".
class Relays {
 public:
  Relays();
  ~Relays();

  /// Takes the signals already now.
  void listen() { loop(); }

  Connection pair(AgentProvider provider, const URL& address, const std::string& code,
                  const std::optional<std::string>& pin);
  SnapshotResult snapshot(const std::vector<Connection>& connections,
                          const SessionSnapshot& fallback);
  void decide(PermissionDecision decision, const std::string& promptID,
              const Connection& connection);
  bool remoteApprovals(const Connection& connection);
  bool setRemoteApprovals(bool enabled, const Connection& connection);
  void unpair(const Connection& connection);

  /// An exchange that is none of the service's.
  platform::HTTPResponse send(const std::shared_ptr<platform::URLSession>& session,
                              const platform::URLRequest& request);

  void pause(std::chrono::duration<double> time);

 private:
  struct Loop;
  Loop& loop();

  const LiveSessionService service_;
  std::unique_ptr<Loop> loop_;
};

}  // namespace idlewyn::command

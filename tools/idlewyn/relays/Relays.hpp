// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <IdlewynKit/relay/LiveSessionService.hpp>

#include <tools/idlewyn/relays/Reach.hpp>

namespace idlewyn::command {

/// The session service for a program that does one thing after the other: each call runs to its
/// end. SIGINT and SIGTERM, from `listen` or the first call on, cancel what is in flight; the
/// call, or the next one, then throws a Failure of kind "interrupted". Where a pinned
/// certificate was refused, the error is a Failure that tells the pinned and the seen one.
class Relays {
 public:
  Relays();
  ~Relays();

  /// Takes the signals already now.
  void listen() { loop(); }
  /// All that is in flight then ends so long after now.
  void limit(std::chrono::milliseconds time);

  Connection pair(AgentProvider provider, const URL& address, const std::string& code,
                  const std::optional<std::string>& pin);
  SnapshotResult snapshot(const std::vector<Connection>& connections,
                          const SessionSnapshot& fallback);
  void decide(PermissionDecision decision, const std::string& promptID,
              const Connection& connection);
  bool remoteApprovals(const Connection& connection);
  bool setRemoteApprovals(bool enabled, const Connection& connection);
  void registerPushToken(const PushTokenRegistration& registration, const Connection& connection);
  void unpair(const Connection& connection);

  /// From the configured gateway; nothing when there is none.
  std::optional<std::string> pushKey(const std::string& token, const std::string& environment);

  /// An exchange that is none of the service's.
  platform::HTTPResponse send(const std::shared_ptr<platform::URLSession>& session,
                              const platform::URLRequest& request);

  /// Name and port as far as a connection, within five seconds. Nothing is sent.
  Reach reach(const std::string& host, const std::string& port);

  /// Sleeps, unless `wake` ends this pause or, called between pauses, the next one.
  void pause(std::chrono::duration<double> time);
  void wake();
  /// Until there is something to be read.
  void waitForInput(int descriptor);

  /// From now on called for each such signal or input while any call here runs. Must be short
  /// and must not call anything here but `wake`. Signals that come between calls are kept.
  void onSignals(const std::vector<int>& signals, std::function<void(int signal)> handle);
  void onInput(int descriptor, std::function<void()> handle);

 private:
  struct Loop;
  Loop& loop();
  template <class Call>
  auto explained(const Connection& connection, Call call);

  const LiveSessionService service_;
  std::unique_ptr<Loop> loop_;
};

}  // namespace idlewyn::command

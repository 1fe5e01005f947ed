// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <IdlewynKit/IdlewynKit.hpp>

namespace dashboard {

/// One line for an agent that could not be asked: what happened, and how old its cards are.
struct AgentTrouble {
  AgentTrouble(idlewyn::AgentProvider provider, std::string sentence,
               std::optional<idlewyn::Date> lastSeen)
      : provider(provider), sentence(std::move(sentence)), lastSeen(lastSeen) {}

  friend bool operator==(const AgentTrouble&, const AgentTrouble&) = default;

  idlewyn::AgentProvider provider;
  std::string sentence;
  /// When its sessions were last fetched; absent when never.
  std::optional<idlewyn::Date> lastSeen;
};

/// The sessions of all agents, fetched again and again on GTK's main loop. All members are for
/// that thread.
class DashboardModel : public std::enable_shared_from_this<DashboardModel> {
 public:
  explicit DashboardModel(std::vector<idlewyn::Connection> connections);

  /// Called after each change of what the getters give, but not when only the snapshot's date is
  /// new.
  std::function<void()> changed;
  /// Something to tell once: the outcome of an answer.
  std::function<void(std::string)> told;

  /// Fetches now, and then every few seconds for as long as the model lives.
  void start();
  void refresh();
  /// Sends the answer, says how it went, and fetches again. One answer a prompt: until that
  /// fetch the prompt counts as answered.
  void answer(const idlewyn::AgentSession& session, idlewyn::PermissionDecision decision);

  bool isDemo() const;
  const idlewyn::SessionSnapshot& snapshot() const { return snapshot_; }
  std::vector<AgentTrouble> troubles() const;
  bool isAnswering(const std::string& promptID) const { return answering_.contains(promptID); }

 private:
  void show(idlewyn::SnapshotResult result);
  const idlewyn::Connection* connection(idlewyn::AgentProvider provider) const;

  static boost::asio::awaitable<void> fetch(std::weak_ptr<DashboardModel> weak);
  static boost::asio::awaitable<void> send(std::weak_ptr<DashboardModel> weak,
                                           idlewyn::PermissionDecision decision,
                                           std::string promptID, idlewyn::Connection connection);

  std::vector<idlewyn::Connection> connections_;
  idlewyn::LiveSessionService service_;
  idlewyn::SessionSnapshot snapshot_;
  std::map<idlewyn::AgentProvider, std::string> errors_;
  std::map<idlewyn::AgentProvider, idlewyn::Date> lastSeen_;
  std::map<std::string, idlewyn::PermissionDecision> answering_;
  bool isFetching_ = false;
};

}  // namespace dashboard

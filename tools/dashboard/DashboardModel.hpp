// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <IdlewynKit/IdlewynKit.hpp>

namespace dashboard {

/// One line for an agent that could not be asked, or for all when none is known: what happened,
/// and how old its cards are.
struct Trouble {
  Trouble(std::optional<idlewyn::AgentProvider> provider, std::string sentence,
          std::optional<idlewyn::Date> lastSeen)
      : provider(provider), sentence(std::move(sentence)), lastSeen(lastSeen) {}

  friend bool operator==(const Trouble&, const Trouble&) = default;

  std::optional<idlewyn::AgentProvider> provider;
  std::string sentence;
  /// When its sessions were last fetched; absent when never.
  std::optional<idlewyn::Date> lastSeen;
};

/// The sessions of all agents, fetched again and again on GTK's main loop. All members are for
/// that thread.
class DashboardModel : public std::enable_shared_from_this<DashboardModel> {
 public:
  /// Gives the agents to ask, or throws why they aren't known.
  using Find = std::function<std::vector<idlewyn::Connection>()>;
  explicit DashboardModel(Find find);

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
  /// Without the agents that do not answer.
  idlewyn::SessionSnapshot liveSnapshot() const;
  /// When an agent that does not answer, or has not answered yet, was last seen; else nothing. Its
  /// sessions are marked, and its prompts are not offered.
  std::optional<idlewyn::Date> oldSince(idlewyn::AgentProvider provider) const;
  std::vector<Trouble> troubles() const;
  bool isAnswering(const std::string& promptID) const { return answering_.contains(promptID); }

 private:
  bool isPaired() const { return !connections_.empty() && !isDemo(); }
  /// Looks which agents there are. True when something is new.
  bool look();
  void show(idlewyn::SnapshotResult result);
  const idlewyn::Connection* connection(idlewyn::AgentProvider provider) const;

  static boost::asio::awaitable<void> fetch(std::weak_ptr<DashboardModel> weak);
  static boost::asio::awaitable<void> send(std::weak_ptr<DashboardModel> weak,
                                           idlewyn::PermissionDecision decision,
                                           std::string promptID, idlewyn::Connection connection);

  Find find_;
  std::vector<idlewyn::Connection> connections_;
  /// Why they aren't known; else empty.
  std::string unknown_;
  idlewyn::LiveSessionService service_;
  idlewyn::SessionSnapshot snapshot_;
  std::map<idlewyn::AgentProvider, std::string> errors_;
  std::map<idlewyn::AgentProvider, idlewyn::Date> lastSeen_;
  /// Those that have answered since they are known.
  std::set<idlewyn::AgentProvider> answered_;
  std::map<std::string, idlewyn::PermissionDecision> answering_;
  bool isFetching_ = false;
};

}  // namespace dashboard

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

#include <tools/idlewyn/sessions/OldAgents.hpp>
#include <tools/idlewyn/watch/Watcher.hpp>

namespace dashboard {

/// One line for an agent that could not be asked: what happened, and how old its cards are.
struct Trouble {
  Trouble(idlewyn::AgentProvider provider, std::string sentence,
          std::optional<idlewyn::Date> lastSeen)
      : provider(provider), sentence(std::move(sentence)), lastSeen(lastSeen) {}

  friend bool operator==(const Trouble&, const Trouble&) = default;

  idlewyn::AgentProvider provider;
  std::string sentence;
  /// When its sessions were last fetched; absent when never.
  std::optional<idlewyn::Date> lastSeen;
};

/// What the window has to show as a whole.
enum class Stage {
  /// Nothing is paired.
  unpaired,
  /// The pairings can't be read; `reason` says why.
  unreadable,
  /// No agent has answered yet, none has failed, and no session is known from before.
  loading,
  /// No agent answers, and no session is known from before.
  failed,
  /// The agents answer and have no sessions.
  empty,
  sessions,
};

/// The sessions of all agents, fetched again and again on GTK's main loop: every three seconds, and
/// less and less often where an agent does not answer, as the command does. All members are for
/// that thread.
class DashboardModel : public std::enable_shared_from_this<DashboardModel> {
 public:
  /// Gives the paired agents, or throws why they aren't known.
  using Find = std::function<std::vector<idlewyn::Connection>()>;
  DashboardModel(Find find, bool isDemo);
  ~DashboardModel();

  /// Called after each change of what the getters give, but not when only the snapshot's date is
  /// new.
  std::function<void()> changed;
  /// Something to tell once: the outcome of an answer, and whether it is a failure.
  std::function<void(std::string, bool isFailure)> told;

  /// Fetches now, and then again and again for as long as the model lives.
  void start();
  /// Looks for the pairings and asks every agent at once.
  void refresh();
  /// Shows generated sessions in place of the paired agents', or no longer.
  void setDemo(bool isDemo);
  /// Sends the answer, says how it went, and fetches again. One answer a prompt: until that fetch
  /// the prompt counts as answered.
  void answer(idlewyn::AgentProvider provider, const std::string& promptID,
              idlewyn::PermissionDecision decision);

  Stage stage() const;
  bool isDemo() const { return isDemo_; }
  const std::string& reason() const { return reason_; }
  const idlewyn::SessionSnapshot& snapshot() const { return watcher_->snapshot(); }
  /// The agents that do not answer, or have not answered yet.
  idlewyn::command::OldAgents oldAgents() const;
  std::vector<Trouble> troubles() const;
  bool isAnswering(const std::string& promptID) const { return answering_.contains(promptID); }

 private:
  using Watcher = idlewyn::command::Watcher;

  /// True when other agents are followed from now on.
  bool look();
  void follow(std::vector<idlewyn::Connection> connections);
  void ask();
  void take(idlewyn::SnapshotResult result, Watcher::Time asked);
  void schedule();
  std::map<idlewyn::AgentProvider, std::string> errorTexts() const;
  bool hasErrors() const { return !reason_.empty() || !watcher_->errors().empty(); }

  static boost::asio::awaitable<void> fetch(std::weak_ptr<DashboardModel> weak,
                                            Watcher::Time asked);
  static boost::asio::awaitable<void> send(std::weak_ptr<DashboardModel> weak,
                                           idlewyn::PermissionDecision decision,
                                           std::string promptID, idlewyn::Connection connection);

  Find find_;
  bool isDemo_;
  std::vector<idlewyn::Connection> connections_;
  /// Why they aren't known; else empty.
  std::string reason_;
  idlewyn::LiveSessionService service_;
  std::unique_ptr<Watcher> watcher_;
  std::map<std::string, idlewyn::PermissionDecision> answering_;
  bool isFetching_ = false;
  /// The agents changed during a fetch; its result is of no use.
  bool isStale_ = false;
  bool isWantedAgain_ = false;
  unsigned int timer_ = 0;
};

}  // namespace dashboard

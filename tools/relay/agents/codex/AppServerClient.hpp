// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <tools/relay/agents/codex/AppServerMessages.hpp>
#include <tools/relay/agents/codex/Sink.hpp>

/// A client of Codex's app-server: follows its threads, asks for approvals from afar while the
/// terminal's dialog stands, and gives the answer. Knows no socket; one object is one connection.
///
///     AppServerClient client([&](std::string text) { socket.send(std::move(text)); }, sink);
///     client.open();
///     client.receive(text);     // for each message
///
/// A thread is subscribed to only while it works. A subscription keeps a thread in memory, so a
/// lasting one would hide that the person has quit.
namespace idlewyn::relay::codex {

class AppServerClient {
 public:
  using Send = std::function<void(std::string)>;

  AppServerClient(Send send, Sink& sink) : send_(std::move(send)), sink_(sink) {}
  AppServerClient(const AppServerClient&) = delete;
  AppServerClient& operator=(const AppServerClient&) = delete;
  /// The connection is gone: withdraws its prompts and ends its sessions.
  ~AppServerClient();

  void open();
  void receive(std::string_view text);

  /// This server has the thread, so its hooks have nothing to add.
  bool owns(const std::string& threadID) const { return threads_.contains(threadID); }
  /// A hook of that thread ran: the thread may have become ready to subscribe to.
  void nudge(const std::string& threadID);

 private:
  enum class Subscription : std::uint8_t { none, asked, held };
  struct Thread {
    ThreadRecord record;
    Subscription subscription = Subscription::none;
    std::map<std::string, json::Object> items;
    std::string lastMessage;
    /// Requests that came before the thread's record did.
    std::vector<json::Object> early;
    bool isKnown = false;
    bool hasAskedForItems = false;
  };
  struct Pending {
    std::string promptID;
    ApprovalRequest request;
  };
  using Answered = std::function<void(const json::Object*)>;

  void call(std::string_view method, json::Object parameters, Answered answered);
  void notify(std::string_view method);
  void takeAnswer(const json::Object& message, std::int64_t id);
  void takeNotification(std::string_view method, const json::Object& parameters);
  void takeTurnNews(std::string_view method, Thread& thread, const json::Object& parameters);
  void takeItem(std::string_view method, Thread& thread, const json::Object& parameters);
  void takeStatus(const std::string& threadID, const json::Object& parameters);
  void takeApproval(const json::Object& message);
  void takeTurnEnd(Thread& thread, const json::Object& turn);
  void withdrawAll(const std::string& threadID);
  void resolve(const json::Object& parameters);

  void listThreads(const std::string& cursor);
  void readThread(const std::string& id);
  void learn(const json::Object& thread);
  void subscribe(Thread& thread, bool withItems = false);
  void unsubscribe(Thread& thread);
  void show(Thread& thread);
  void forget(const std::string& threadID);
  void keepItems(Thread& thread, const json::Object& turn);
  /// A session whose turn has ended is finished when its last subagent is.
  void finishLate(const std::string& sessionID);
  void ask(Thread& thread, ApprovalRequest request);
  bool answer(const std::string& key, std::optional<PermissionDecision> decision);

  Send send_;
  Sink& sink_;
  std::int64_t lastCall_ = 0;
  std::map<std::int64_t, Answered> calls_;
  std::map<std::string, Thread> threads_;
  /// By the request's id as JSON text.
  std::map<std::string, Pending> pending_;
  /// Sessions that ended their turn while subagents still worked, and what they said last.
  std::map<std::string, std::string> unfinished_;
};

}  // namespace idlewyn::relay::codex

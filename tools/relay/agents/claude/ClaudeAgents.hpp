// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>
#include <vector>

#include <tools/relay/agents/FileWatch.hpp>
#include <tools/relay/agents/Hook.hpp>
#include <tools/relay/agents/ProcessWatch.hpp>
#include <tools/relay/agents/claude/Payloads.hpp>
#include <tools/relay/sessions/SessionList.hpp>

/// Everything that the relay knows of Claude Code: its hooks, and the files in which it says how
/// its sessions are, to notice what no hook tells (a question answered at the terminal, Escape,
/// a process that was killed).
///
///     ClaudeAgents claude(context, watch, list, policy, clock);
///     HookServer hooks(context, path, {{"claude", &claude}});
namespace idlewyn::relay::claude {

class ClaudeAgents final : public HookReceiver {
 public:
  /// What is passed by reference outlives the object.
  ClaudeAgents(boost::asio::io_context& context, FileWatch& watch, SessionList& list,
               const Policy& policy, SessionList::Clock clock);
  ClaudeAgents(const ClaudeAgents&) = delete;
  ClaudeAgents& operator=(const ClaudeAgents&) = delete;
  ~ClaudeAgents() override;

  void receive(const HookEvent& event) override;
  void gone(const std::shared_ptr<WaitingHook>& waiting) override;

 private:
  struct Call {
    std::string sessionID, agentID, tool;
    /// Stands for the tool and its input, too.
    std::string dialog;

    friend bool operator==(const Call&, const Call&) = default;
  };
  struct Open {
    Call call;
    std::string promptID;
    std::shared_ptr<WaitingHook> waiting;
    boost::json::array rules;
    /// Its own dialog appears only when the hook has gone.
    bool hidesDialog = false;
    /// Claude has said since then that it waits.
    bool isSeenWaiting = false;
  };
  struct Session {
    bool hasTitle = false;
    /// The main agent's turn has begun and not ended. Work in the background doesn't count.
    bool isWorking = false;
    /// As its file said last.
    std::string status;
    std::map<std::string, bool> tasks;
  };

  static Call callOf(const json::Object& payload);
  void takeEvent(const HookEvent& event, const Call& call);
  void takePrompt(const Call& call, const json::Object& payload);
  void takeTool(const std::string& name, const Call& call, const json::Object& payload);
  void takeTask(const std::string& name, const Call& call, const json::Object& payload);
  void tellTasks(const std::string& sessionID);
  void takeStop(const std::string& name, const Call& call, const json::Object& payload);
  void takeNotification(const Call& call, const json::Object& payload);
  void ask(const HookEvent& event, const Call& call);
  bool decide(const std::shared_ptr<WaitingHook>& waiting,
              std::optional<PermissionDecision> decision);
  std::optional<std::chrono::seconds> boundOf(const HookEvent& event, const Call& call, bool& waits,
                                              bool& hidesDialog) const;
  void watchFolder(const std::string& folder);
  void readSessionFile(const std::string& file);
  void endSession(const std::string& sessionID);
  void tell(EventKind kind, const std::string& sessionID, const std::string& text = {},
            const std::string& folder = {});
  template <typename Condition>
  void withdraw(Condition condition);
  /// Every question and dialog of one agent of a session is over.
  void endDialogs(const Call& call);

  FileWatch& watch_;
  SessionList& list_;
  const Policy& policy_;
  SessionList::Clock clock_;
  ProcessWatch processes_;
  std::map<std::string, Session> sessions_;
  std::vector<Open> open_;
  /// By configuration folder.
  std::map<std::string, std::uint64_t> folders_;
};

}  // namespace idlewyn::relay::claude

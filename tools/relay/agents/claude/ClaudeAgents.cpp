// SPDX-License-Identifier: MIT
#include <tools/relay/agents/claude/ClaudeAgents.hpp>

#include <algorithm>
#include <utility>

#include <tools/relay/agents/claude/SessionFile.hpp>

namespace idlewyn::relay::claude {
namespace {

constexpr std::size_t mostTasks = 1000;
constexpr std::size_t mostFolders = 64;

std::string allowOutput(const boost::json::array& rules) {
  json::Object decision{{"behavior", "allow"}};
  if (!rules.empty()) decision.emplace("updatedPermissions", rules);
  return boost::json::serialize(
      json::Object{{"hookSpecificOutput",
                    json::Object{{"hookEventName", "PermissionRequest"}, {"decision", decision}}}});
}

/// The question is the terminal's.
void giveBack(const HookEvent& event) { event.waiting->finish({}); }

constexpr std::string_view denyOutput =
    R"({"hookSpecificOutput":{"hookEventName":"PermissionRequest","decision":{"behavior":"deny",)"
    R"("message":"Denied from another device."}}})";

const json::Object& inputOf(const json::Object& payload) {
  static const json::Object none;
  const json::Object* input = json::object(payload, "tool_input");
  return input ? *input : none;
}

}  // namespace

ClaudeAgents::ClaudeAgents(boost::asio::io_context& context, FileWatch& watch, SessionList& list,
                           const Policy& policy, SessionList::Clock clock)
    : watch_(watch), list_(list), policy_(policy), clock_(std::move(clock)), processes_(context) {
  list_.onForgotten(AgentProvider::claude, [this](const std::string& session) {
    sessions_.erase(session);
    processes_.forget(session);
  });
}

ClaudeAgents::~ClaudeAgents() {
  list_.onForgotten(AgentProvider::claude, nullptr);
  for (const auto& [folder, id] : folders_)
    watch_.remove(id);
}

ClaudeAgents::Call ClaudeAgents::callOf(const json::Object& payload) {
  Call call{std::string(json::text(payload, "session_id")),
            std::string(json::text(payload, "agent_id")),
            std::string(json::text(payload, "tool_name")),
            {}};
  call.dialog = dialogName(call.agentID, call.tool, boost::json::serialize(inputOf(payload)));
  return call;
}

void ClaudeAgents::receive(const HookEvent& event) {
  const Call call = callOf(event.payload);
  if (call.sessionID.empty() || call.sessionID.size() > longestSessionID) {
    if (event.waiting) event.waiting->finish({});
    return;
  }
  if (event.name == "SessionEnd") return endSession(call.sessionID);
  const std::string folder = configurationFolder(event.payload);
  watchFolder(folder);
  if (sessions_[call.sessionID].status.empty())
    readSessionFile(folder + "/sessions/" + std::to_string(event.parent) + ".json");
  processes_.watch(call.sessionID, static_cast<pid_t>(event.parent), event.parentStart,
                   [this, session = call.sessionID] { endSession(session); });
  tell(EventKind::seen, call.sessionID, {}, std::string(json::text(event.payload, "cwd")));
  if (event.waiting) return ask(event, call);
  takeEvent(event, call);
}

void ClaudeAgents::takeEvent(const HookEvent& event, const Call& call) {
  const std::string& name = event.name;
  if (name == "UserPromptSubmit") return takePrompt(call, event.payload);
  if (name == "PreToolUse" || name == "PostToolUse" || name == "PostToolUseFailure")
    return takeTool(name, call, event.payload);
  if (name == "Stop" || name == "StopFailure") return takeStop(name, call, event.payload);
  if (name == "Notification") return takeNotification(call, event.payload);
  if (name == "TaskCreated" || name == "TaskCompleted") return takeTask(name, call, event.payload);
  if (name == "SubagentStop") return endDialogs(call);
  if (name != "PostToolBatch") return;
  // Tells of denied calls too, which nothing else ends.
  const auto* calls = json::list(event.payload, "tool_calls");
  for (const json::Value& value : calls ? *calls : boost::json::array()) {
    if (!value.is_object()) continue;
    Call ended = callOf(value.get_object());
    ended.sessionID = call.sessionID;
    ended.agentID = call.agentID;
    ended.dialog =
        dialogName(call.agentID, ended.tool, boost::json::serialize(inputOf(value.get_object())));
    withdraw([&](const Open& open) { return open.call == ended; });
    tell(EventKind::goesOn, call.sessionID, ended.dialog);
  }
}

void ClaudeAgents::endDialogs(const Call& call) {
  withdraw([&](const Open& open) {
    return open.call.sessionID == call.sessionID && open.call.agentID == call.agentID;
  });
  tell(EventKind::goesOn, call.sessionID, dialogNames(call.agentID));
}

void ClaudeAgents::takePrompt(const Call& call, const json::Object& payload) {
  endDialogs(call);
  if (!call.agentID.empty()) return;
  Session& session = sessions_[call.sessionID];
  const std::string prompt(json::text(payload, "prompt"));
  session.isWorking = true;
  // Claude's own, once work in the background has ended: the turn that began it goes on.
  if (prompt.starts_with("<task-notification>")) return tell(EventKind::activity, call.sessionID);
  if (!prompt.starts_with("<") && !std::exchange(session.hasTitle, true))
    tell(EventKind::seen, call.sessionID, prompt);
  tell(EventKind::turnBegan, call.sessionID);
  // What was left to do is part of the new turn.
  if (std::erase_if(session.tasks, [](const auto& task) { return task.second; }) > 0 ||
      !session.tasks.empty())
    tellTasks(call.sessionID);
}

void ClaudeAgents::takeTool(const std::string& name, const Call& call,
                            const json::Object& payload) {
  const json::Object& input = inputOf(payload);
  if (name == "PreToolUse") {
    if (call.agentID.empty()) sessions_[call.sessionID].isWorking = true;
    tell(EventKind::activity, call.sessionID, activityOf(call.tool, input));
    if (isQuestionTool(call.tool)) tell(EventKind::waits, call.sessionID, call.dialog);
    return;
  }
  bool isFirst = true;  // nothing names the question that a tool's end belongs to
  withdraw([&](const Open& open) { return open.call == call && std::exchange(isFirst, false); });
  // Other dialogs may stand: a subagent's, or a question beside this tool.
  tell(EventKind::goesOn, call.sessionID, call.dialog);
  if (name == "PostToolUse") takeTask(name, call, payload);
}

void ClaudeAgents::takeTask(const std::string& name, const Call& call,
                            const json::Object& payload) {
  auto& tasks = sessions_[call.sessionID].tasks;
  const json::Object& input = inputOf(payload);
  if (name == "TaskCreated") {
    tasks.emplace(json::text(payload, "task_id"), false);
  } else if (name == "TaskCompleted") {
    tasks.insert_or_assign(std::string(json::text(payload, "task_id")), true);
  } else if (call.tool == "TaskUpdate") {
    const std::string id(json::text(input, "taskId"));
    if (json::text(input, "status") == "deleted") tasks.erase(id);
    if (json::text(input, "status") == "completed") tasks.insert_or_assign(id, true);
  } else {
    return;
  }
  tasks.erase("");
  if (tasks.size() > mostTasks) tasks.clear();
  tellTasks(call.sessionID);
}

void ClaudeAgents::tellTasks(const std::string& sessionID) {
  const auto& tasks = sessions_[sessionID].tasks;
  Event event(EventKind::progress, AgentProvider::claude, sessionID, clock_());
  event.total = static_cast<std::int64_t>(tasks.size());
  event.done =
      std::count_if(tasks.begin(), tasks.end(), [](const auto& task) { return task.second; });
  list_.apply(event);
}

void ClaudeAgents::takeStop(const std::string& name, const Call& call,
                            const json::Object& payload) {
  endDialogs(call);
  // Subagents may go on in the background, and ask.
  if (!call.agentID.empty()) return;
  Session& session = sessions_[call.sessionID];
  session.isWorking = false;
  const std::string text(json::text(payload, "last_assistant_message"));
  if (name == "StopFailure") {
    return tell(EventKind::failed, call.sessionID,
                text.empty() ? std::string(json::text(payload, "error")) : text);
  }
  if (hasRunningTasks(payload))
    return tell(EventKind::activity, call.sessionID, "Waiting for background work");
  tell(EventKind::finished, call.sessionID, text);
}

void ClaudeAgents::takeNotification(const Call& call, const json::Object& payload) {
  if (json::text(payload, "notification_type") == "agent_needs_input")
    tell(EventKind::waits, call.sessionID);
}

std::optional<std::chrono::seconds> ClaudeAgents::boundOf(const HookEvent& event, const Call& call,
                                                          bool& waits, bool& hidesDialog) const {
  const std::string folder = configurationFolder(event.payload);
  const auto file = sessionFile(folder + "/sessions/" + std::to_string(event.parent) + ".json");
  // An agent that was killed leaves its file, and another process may have its number now.
  const bool isItsOwn = file && (file->processStart == 0 || event.parentStart == 0 ||
                                 file->processStart == event.parentStart);
  waits = true;
  hidesDialog = false;
  // Nobody sits at a terminal: to return means to deny.
  if (!isItsOwn || !file->isInteractive) return policy_.waits().headless;
  if (call.agentID.empty()) return std::nullopt;
  hidesDialog = true;
  waits = policy_.isAway() || policy_.isAttentive(AgentProvider::claude);
  return policy_.isAway() ? std::nullopt : std::optional(policy_.waits().hiddenDialog);
}

void ClaudeAgents::ask(const HookEvent& event, const Call& call) {
  tell(EventKind::waits, call.sessionID, call.dialog);
  readSessionFile(configurationFolder(event.payload) + "/sessions/" + std::to_string(event.parent) +
                  ".json");
  Open open{call, {}, event.waiting, {}, false, false};
  bool waits = false;
  const auto bound = boundOf(event, call, waits, open.hidesDialog);
  if (!policy_.remoteApprovals() || isQuestionTool(call.tool) || !waits) return giveBack(event);
  // Claude may have said that it waits before its hook has said what for.
  open.isSeenWaiting = sessions_[call.sessionID].status == "waiting";
  Question question(AgentProvider::claude, call.sessionID, call.tool,
                    detailOf(call.tool, inputOf(event.payload)), event.nonce);
  if (auto rules = suggestedRules(event.payload)) {
    question.alwaysRule = rules->shown;
    open.rules = std::move(rules->suggestions);
  }
  const std::string prompt =
      list_.ask(std::move(question),
                [this, waiting = event.waiting](std::optional<PermissionDecision> decision) {
                  return decide(waiting, decision);
                });
  if (prompt.empty()) return giveBack(event);
  open.promptID = prompt;
  open_.push_back(std::move(open));
  event.waiting->hold(bound);
}

bool ClaudeAgents::decide(const std::shared_ptr<WaitingHook>& waiting,
                          std::optional<PermissionDecision> decision) {
  const auto found = std::find_if(open_.begin(), open_.end(),
                                  [&](const Open& open) { return open.waiting == waiting; });
  if (found == open_.end()) return false;
  const Open open = std::move(*found);
  open_.erase(found);
  if (!decision) return waiting->finish({});  // the terminal's dialog stands
  const bool isTaken =
      waiting->finish(decision == PermissionDecision::deny     ? std::string(denyOutput)
                      : decision == PermissionDecision::always ? allowOutput(open.rules)
                                                               : allowOutput({}));
  if (isTaken || !open.hidesDialog) tell(EventKind::goesOn, open.call.sessionID, open.call.dialog);
  return isTaken;
}

void ClaudeAgents::gone(const std::shared_ptr<WaitingHook>& waiting) {
  const auto found = std::find_if(open_.begin(), open_.end(),
                                  [&](const Open& open) { return open.waiting == waiting; });
  if (found == open_.end()) return;
  const Open open = std::move(*found);
  open_.erase(found);
  list_.withdraw(open.promptID);
  // "No" or Escape at the dialog ends the hook. Where it hid the dialog, that appears now.
  tell(open.hidesDialog ? EventKind::waits : EventKind::goesOn, open.call.sessionID,
       open.call.dialog);
}

void ClaudeAgents::watchFolder(const std::string& folder) {
  if (folder.empty() || folders_.contains(folder) || folders_.size() >= mostFolders) return;
  const std::string sessions = folder + "/sessions";
  const std::uint64_t id = watch_.add(sessions, [this, sessions](const std::string& name) {
    // Keys lie beside the sessions: nothing else is opened.
    if (isSessionFileName(name)) readSessionFile(sessions + "/" + name);
  });
  if (id != 0) folders_.emplace(folder, id);
}

void ClaudeAgents::readSessionFile(const std::string& path) {
  const auto file = sessionFile(path);
  const auto found = file ? sessions_.find(file->sessionID) : sessions_.end();
  if (found == sessions_.end()) return;
  Session& session = found->second;
  const std::string before = std::exchange(session.status, file->status);
  const auto isOfMain = [&](const Open& open) {
    return open.call.sessionID == file->sessionID && open.call.agentID.empty();
  };
  if (file->status == "waiting") {
    for (Open& open : open_)
      open.isSeenWaiting = open.isSeenWaiting || isOfMain(open);
  }
  // The file may be older than a question: it counts once it has said that Claude waits.
  if (file->status == "busy")
    withdraw([&](const Open& open) { return isOfMain(open) && open.isSeenWaiting; });
  if (before == "waiting" && file->status != before) tell(EventKind::goesOn, file->sessionID);
  if (file->status != "idle" || before.empty() || before == "idle" || !session.isWorking) return;
  session.isWorking = false;
  withdraw(isOfMain);
  tell(EventKind::interrupted, file->sessionID);
}

void ClaudeAgents::endSession(const std::string& sessionID) {
  withdraw([&](const Open& open) { return open.call.sessionID == sessionID; });
  processes_.forget(sessionID);
  sessions_.erase(sessionID);
  tell(EventKind::ended, sessionID);
}

void ClaudeAgents::tell(EventKind kind, const std::string& sessionID, const std::string& text,
                        const std::string& folder) {
  list_.apply(Event(kind, AgentProvider::claude, sessionID, clock_(), text, folder));
}

template <typename Condition>
void ClaudeAgents::withdraw(Condition condition) {
  std::vector<Open> withdrawn;
  std::vector<Open> kept;
  for (Open& open : open_)
    (condition(open) ? withdrawn : kept).push_back(std::move(open));
  open_ = std::move(kept);
  for (const Open& open : withdrawn) {
    list_.withdraw(open.promptID);
    open.waiting->finish({});
  }
}

}  // namespace idlewyn::relay::claude

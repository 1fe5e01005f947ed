// SPDX-License-Identifier: MIT
#include <tools/relay/agents/claude/ClaudeAgents.hpp>

#include <algorithm>
#include <utility>

#include <tools/relay/agents/claude/SessionFile.hpp>

namespace idlewyn::relay::claude {
namespace {

std::string allowOutput(const boost::json::array& rules) {
  json::Object decision{{"behavior", "allow"}};
  if (!rules.empty()) decision.emplace("updatedPermissions", rules);
  return boost::json::serialize(
      json::Object{{"hookSpecificOutput",
                    json::Object{{"hookEventName", "PermissionRequest"}, {"decision", decision}}}});
}

constexpr std::string_view denyOutput =
    R"({"hookSpecificOutput":{"hookEventName":"PermissionRequest","decision":{"behavior":"deny",)"
    R"("message":"Denied from another device."}}})";

const json::Object& inputOf(const json::Object& payload) {
  static const json::Object none;
  const json::Object* input = json::object(payload, "tool_input");
  return input ? *input : none;
}

}  // namespace

ClaudeAgents::~ClaudeAgents() {
  for (const auto& [folder, id] : folders_)
    watch_.remove(id);
}

ClaudeAgents::Call ClaudeAgents::callOf(const json::Object& payload) {
  return {std::string(json::text(payload, "session_id")),
          std::string(json::text(payload, "agent_id")),
          std::string(json::text(payload, "tool_name")), boost::json::serialize(inputOf(payload))};
}

void ClaudeAgents::receive(const HookEvent& event) {
  const Call call = callOf(event.payload);
  if (call.sessionID.empty()) {
    if (event.waiting) event.waiting->finish({});
    return;
  }
  if (event.name == "SessionEnd") return endSession(call.sessionID);
  const std::string folder = configurationFolder(event.payload);
  watchFolder(folder);
  if (sessions_[call.sessionID].status.empty())
    readSessionFile(folder + "/sessions/" + std::to_string(event.parent) + ".json");
  processes_.watch(call.sessionID, static_cast<pid_t>(event.parent),
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
  if (name == "TaskCreated" || name == "TaskCompleted")
    return takeTask(call, std::string(json::text(event.payload, "task_id")),
                    name == "TaskCompleted");
  if (name == "SubagentStop") {
    return withdraw([&](const Open& open) {
      return open.call.sessionID == call.sessionID && open.call.agentID == call.agentID;
    });
  }
  if (name != "PostToolBatch") return;
  // Tells of denied calls too, which nothing else ends.
  const auto* calls = json::list(event.payload, "tool_calls");
  for (const json::Value& value : calls ? *calls : boost::json::array()) {
    if (!value.is_object()) continue;
    Call ended = callOf(value.get_object());
    ended.sessionID = call.sessionID;
    ended.agentID = call.agentID;
    withdraw([&](const Open& open) { return open.call == ended; });
  }
}

void ClaudeAgents::takePrompt(const Call& call, const json::Object& payload) {
  Session& session = sessions_[call.sessionID];
  const std::string prompt(json::text(payload, "prompt"));
  withdraw([&](const Open& open) {
    return open.call.sessionID == call.sessionID && open.call.agentID == call.agentID;
  });
  if (!call.agentID.empty()) return;
  // Claude submits prompts of its own, when a subagent has ended say.
  const bool isOwn = prompt.starts_with("<");
  if (!isOwn && !std::exchange(session.hasTitle, true))
    tell(EventKind::seen, call.sessionID, prompt);
  session.isWorking = true;
  tell(EventKind::turnBegan, call.sessionID);
}

void ClaudeAgents::takeTool(const std::string& name, const Call& call,
                            const json::Object& payload) {
  const json::Object& input = inputOf(payload);
  if (name == "PreToolUse") {
    tell(EventKind::activity, call.sessionID, activityOf(call.tool, input));
    if (isQuestionTool(call.tool)) tell(EventKind::waits, call.sessionID);
    return;
  }
  bool isFirst = true;  // nothing names the question that a tool's end belongs to
  withdraw([&](const Open& open) { return open.call == call && std::exchange(isFirst, false); });
  tell(EventKind::goesOn, call.sessionID);
  if (call.tool != "TaskUpdate") return;
  const std::string id(json::text(input, "taskId"));
  const std::string_view status = json::text(input, "status");
  if (status == "deleted") sessions_[call.sessionID].tasks.erase(id);
  if (status == "completed") takeTask(call, id, true);
}

void ClaudeAgents::takeTask(const Call& call, const std::string& id, bool isDone) {
  if (id.empty()) return;
  auto& tasks = sessions_[call.sessionID].tasks;
  tasks[id] = isDone;
  Event event(EventKind::progress, AgentProvider::claude, call.sessionID, clock_());
  event.total = static_cast<std::int64_t>(tasks.size());
  event.done =
      std::count_if(tasks.begin(), tasks.end(), [](const auto& task) { return task.second; });
  list_.apply(event);
}

void ClaudeAgents::takeStop(const std::string& name, const Call& call,
                            const json::Object& payload) {
  // Subagents may go on in the background, and ask.
  withdraw([&](const Open& open) {
    return open.call.sessionID == call.sessionID && open.call.agentID.empty();
  });
  if (!call.agentID.empty()) return;
  Session& session = sessions_[call.sessionID];
  const std::string text(json::text(payload, "last_assistant_message"));
  if (name == "StopFailure") {
    session.isWorking = false;
    return tell(EventKind::failed, call.sessionID,
                text.empty() ? std::string(json::text(payload, "error")) : text);
  }
  if (hasRunningTasks(payload))
    return tell(EventKind::activity, call.sessionID, "Waiting for background work");
  session.isWorking = false;
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
  waits = true;
  hidesDialog = false;
  // Nobody sits at a terminal: to return means to deny.
  if (!file || !file->isInteractive) return policy_.waits().headless;
  if (call.agentID.empty()) return std::nullopt;
  hidesDialog = true;
  waits = policy_.isAway() || policy_.isAttentive(AgentProvider::claude);
  return policy_.isAway() ? std::nullopt : std::optional(policy_.waits().hiddenDialog);
}

void ClaudeAgents::ask(const HookEvent& event, const Call& call) {
  tell(EventKind::waits, call.sessionID);
  readSessionFile(configurationFolder(event.payload) + "/sessions/" + std::to_string(event.parent) +
                  ".json");
  Open open{call, {}, event.waiting, {}, false, false};
  bool waits = false;
  const auto bound = boundOf(event, call, waits, open.hidesDialog);
  if (!policy_.remoteApprovals() || isQuestionTool(call.tool) || !waits)
    return event.waiting->finish({});
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
                  decide(waiting, decision);
                });
  if (prompt.empty()) return event.waiting->finish({});
  open.promptID = prompt;
  open_.push_back(std::move(open));
  event.waiting->hold(bound);
}

void ClaudeAgents::decide(const std::shared_ptr<WaitingHook>& waiting,
                          std::optional<PermissionDecision> decision) {
  const auto found = std::find_if(open_.begin(), open_.end(),
                                  [&](const Open& open) { return open.waiting == waiting; });
  if (found == open_.end()) return;
  const Open open = std::move(*found);
  open_.erase(found);
  if (!decision) return waiting->finish({});  // the terminal's dialog stands
  tell(EventKind::goesOn, open.call.sessionID);
  if (decision == PermissionDecision::deny) return waiting->finish(std::string(denyOutput));
  waiting->finish(
      allowOutput(decision == PermissionDecision::always ? open.rules : boost::json::array()));
}

void ClaudeAgents::gone(const std::shared_ptr<WaitingHook>& waiting) {
  const auto found = std::find_if(open_.begin(), open_.end(),
                                  [&](const Open& open) { return open.waiting == waiting; });
  if (found == open_.end()) return;
  const Open open = std::move(*found);
  open_.erase(found);
  list_.withdraw(open.promptID);
  // "No" or Escape at the dialog ends the hook. Where it hid the dialog, that appears now.
  if (!open.hidesDialog) tell(EventKind::goesOn, open.call.sessionID);
}

void ClaudeAgents::watchFolder(const std::string& folder) {
  if (folder.empty() || folders_.contains(folder)) return;
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
  if (file->status == "busy") {
    // The file may be older than a question: it counts once it has said that Claude waits.
    withdraw([&](const Open& open) { return isOfMain(open) && open.isSeenWaiting; });
    const bool isAsking = std::any_of(open_.begin(), open_.end(), isOfMain);
    if (!isAsking && session.isWorking) tell(EventKind::goesOn, file->sessionID);
  }
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

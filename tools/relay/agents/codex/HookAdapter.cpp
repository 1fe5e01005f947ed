// SPDX-License-Identifier: MIT
#include <tools/relay/agents/codex/HookAdapter.hpp>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <tools/relay/agents/codex/Patch.hpp>

namespace idlewyn::relay::codex {
namespace {

constexpr std::string_view allowOutput =
    R"({"hookSpecificOutput":{"hookEventName":"PermissionRequest","decision":{"behavior":"allow"}}})";
constexpr std::string_view denyOutput =
    R"({"hookSpecificOutput":{"hookEventName":"PermissionRequest","decision":{"behavior":"deny",)"
    R"("message":"Denied from another device."}}})";

std::string activityOf(const std::string& tool, const std::string& input) {
  if (tool == "Bash") return "$ " + input;
  if (tool != "apply_patch") return tool;
  const std::vector<std::string> files = patchedFiles(input);
  return files.empty() ? tool : tool + " " + files.front();
}

bool isTool(const std::string& event) { return event == "PreToolUse" || event == "PostToolUse"; }

}  // namespace

std::string comparedInput(const json::Object& toolInput) {
  json::Object rest = toolInput;
  rest.erase("description");
  std::string text(json::text(rest, "command"));
  if (text.empty() || rest.size() != 1) text = boost::json::serialize(rest);
  text.erase(text.find_last_not_of(" \t\r\n") + 1);
  return text;
}

HookAdapter::Call HookAdapter::callOf(const json::Object& payload) {
  Call call;
  call.sessionID = json::text(payload, "session_id");
  call.agentID = json::text(payload, "agent_id");
  call.tool = json::text(payload, "tool_name");
  if (const json::Object* input = json::object(payload, "tool_input"))
    call.input = comparedInput(*input);
  return call;
}

void HookAdapter::receive(const HookEvent& event) {
  const Call call = callOf(event.payload);
  // The server's own question is the one that is asked: never both.
  if (call.sessionID.empty() || call.sessionID.size() > longestSessionID ||
      isServed_(call.sessionID)) {
    if (event.waiting) event.waiting->finish({});
    return;
  }
  // A subagent has a record of its own; the session's is the one to follow.
  if (call.agentID.empty())
    rollouts_.follow(call.sessionID, std::string(json::text(event.payload, "transcript_path")));
  if (event.waiting) return ask(call, event);
  takeEvent(event.name, event.payload);
}

void HookAdapter::takeEvent(const std::string& event, const json::Object& payload) {
  const Call call = callOf(payload);
  const std::string& session = call.sessionID;
  if (event == "SessionEnd") return endSession(session);
  const std::string folder(json::text(payload, "cwd"));
  const bool begins = event == "UserPromptSubmit" && call.agentID.empty();
  std::string title;
  if (begins && !std::exchange(turns_[session].hasTitle, true))
    title = json::text(payload, "prompt");
  sink_.seen(session, title, folder);
  if (isTool(event)) return takeTool(event, call, payload);
  if (event.starts_with("Subagent")) return takeSubagent(event, call);
  if (event == "Interrupt") return turnEnded(session, TurnEnd(TurnEnd::Kind::interrupted, {}));
  if (!begins && event != "Stop") return;
  withdraw([&](const Open& open) {
    return open.call.sessionID == session && open.call.agentID == call.agentID;
  });
  Turn& turn = turns_[session];
  turn.summary.reset();
  if (begins) return sink_.turnBegan(session);
  if (!call.agentID.empty()) return;
  turn.summary = json::text(payload, "last_assistant_message");
  finishTurn(session);
}

void HookAdapter::endSession(const std::string& sessionID) {
  withdraw([&](const Open& open) { return open.call.sessionID == sessionID; });
  forget(sessionID);
  sink_.ended(sessionID);
}

void HookAdapter::forget(const std::string& sessionID) {
  rollouts_.forget(sessionID);
  turns_.erase(sessionID);
}

void HookAdapter::takeTool(const std::string& event, const Call& call,
                           const json::Object& payload) {
  const json::Object* input = json::object(payload, "tool_input");
  if (event == "PreToolUse") {
    if (call.tool == "update_plan" && input) {
      const auto* plan = json::list(*input, "plan");
      if (!plan) return;
      const auto done = std::count_if(plan->begin(), plan->end(), [](const json::Value& step) {
        return step.is_object() && json::text(step.get_object(), "status") == "completed";
      });
      return sink_.progress(call.sessionID, done, static_cast<std::int64_t>(plan->size()));
    }
    return sink_.activity(call.sessionID, activityOf(call.tool, call.input));
  }
  // Nothing names the question that a tool's end belongs to. Of equal ones the first is meant.
  bool isFirst = true;
  withdraw([&](const Open& open) { return open.call == call && std::exchange(isFirst, false); });
  sink_.waiting(call.sessionID, call.dialog(), false);
}

void HookAdapter::takeSubagent(const std::string& event, const Call& call) {
  Turn& turn = turns_[call.sessionID];
  if (event == "SubagentStart") {
    turn.subagents.insert(call.agentID);
    return;
  }
  turn.subagents.erase(call.agentID);
  withdraw([&](const Open& open) {
    return open.call.sessionID == call.sessionID && open.call.agentID == call.agentID;
  });
  sink_.waiting(call.sessionID, dialogNames(call.agentID), false);
  finishTurn(call.sessionID);
}

void HookAdapter::finishTurn(const std::string& sessionID) {
  Turn& turn = turns_[sessionID];
  if (!turn.summary || !turn.subagents.empty()) return;
  const std::string summary = *std::exchange(turn.summary, std::nullopt);
  sink_.finished(sessionID, summary);
}

void HookAdapter::turnEnded(const std::string& sessionID, const TurnEnd& end) {
  if (end.kind == TurnEnd::Kind::finished) return;  // its hook tells
  withdraw([&](const Open& open) { return open.call.sessionID == sessionID; });
  turns_[sessionID].subagents.clear();
  turns_[sessionID].summary.reset();
  if (end.kind == TurnEnd::Kind::failed)
    sink_.failed(sessionID, end.message);
  else
    sink_.interrupted(sessionID);
}

void HookAdapter::ask(const Call& call, const HookEvent& event) {
  const std::shared_ptr<WaitingHook>& waiting = event.waiting;
  const std::string folder(json::text(event.payload, "cwd"));
  const KeptRule rule(AgentProvider::codex, folder, call.tool, call.input);
  // Off comes first: a kept rule must not answer then.
  if (policy_.remoteApprovals() && policy_.isAllowed(rule)) {
    waiting->finish(std::string(allowOutput));
    return;
  }
  sink_.seen(call.sessionID, {}, folder);
  sink_.waiting(call.sessionID, call.dialog(), true);
  // Codex shows its own dialog only after its hook has ended.
  const bool waits =
      policy_.remoteApprovals() && (policy_.isAway() || policy_.isAttentive(AgentProvider::codex));
  Question question;
  question.sessionID = call.sessionID;
  question.agentID = call.agentID;
  question.toolName = call.tool;
  question.detail = call.tool == "apply_patch" ? patchDetail(call.input) : call.input;
  if (call.tool == "Bash") question.alwaysRule = "Bash(" + call.input + ")";
  question.key = event.nonce;
  std::string prompt;
  if (waits) {
    open_.push_back({call, folder, {}, waiting});
    prompt =
        sink_.ask(std::move(question), [this, waiting](std::optional<PermissionDecision> decision) {
          return decide(waiting, decision);
        });
  }
  if (prompt.empty()) {
    std::erase_if(open_, [&](const Open& open) { return open.waiting == waiting; });
    waiting->finish({});
    return;
  }
  for (Open& open : open_) {
    if (open.waiting == waiting) open.promptID = prompt;
  }
  waiting->hold(policy_.isAway() ? std::nullopt : std::optional(policy_.waits().hiddenDialog));
}

bool HookAdapter::decide(const std::shared_ptr<WaitingHook>& waiting,
                         std::optional<PermissionDecision> decision) {
  const auto found = std::find_if(open_.begin(), open_.end(),
                                  [&](const Open& open) { return open.waiting == waiting; });
  if (found == open_.end()) return false;
  const Open open = std::move(*found);
  open_.erase(found);
  if (!decision) return waiting->finish({});  // and the terminal's dialog appears
  const bool isTaken =
      waiting->finish(std::string(decision == PermissionDecision::deny ? denyOutput : allowOutput));
  if (!isTaken) return false;
  if (decision == PermissionDecision::always) keep(open);
  sink_.waiting(open.call.sessionID, open.call.dialog(), false);
  return true;
}

void HookAdapter::keep(const Open& open) {
  try {
    policy_.keep(
        KeptRule(AgentProvider::codex, open.workingDirectory, open.call.tool, open.call.input));
  } catch (const std::runtime_error&) {
    // A full disk: allowed this once, and the question comes again.
  }
}

void HookAdapter::gone(const std::shared_ptr<WaitingHook>& waiting) {
  // The terminal's dialog is up now, so the session goes on waiting.
  std::erase_if(open_, [&](const Open& open) {
    if (open.waiting != waiting) return false;
    sink_.withdraw(open.promptID);
    return true;
  });
}

template <typename Condition>
void HookAdapter::withdraw(Condition condition) {
  std::vector<Open> withdrawn;
  std::vector<Open> kept;
  for (Open& open : open_)
    (condition(open) ? withdrawn : kept).push_back(std::move(open));
  open_ = std::move(kept);
  for (const Open& open : withdrawn) {
    sink_.withdraw(open.promptID);
    open.waiting->finish({});
  }
}

}  // namespace idlewyn::relay::codex

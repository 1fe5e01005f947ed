// SPDX-License-Identifier: MIT
#include <tools/relay/agents/codex/AppServerMessages.hpp>

#include <algorithm>

#include <tools/relay/agents/ShellWords.hpp>

namespace idlewyn::relay::codex {
namespace {

bool isAbsent(const json::Object& object, std::string_view name) {
  const json::Value* value = object.if_contains(name);
  return !value || value->is_null();
}

/// All of a list's texts; no value when anything in it is something else.
std::optional<std::vector<std::string>> texts(const boost::json::array& list) {
  std::vector<std::string> result;
  for (const json::Value& value : list) {
    if (!value.is_string()) return std::nullopt;
    result.emplace_back(std::string_view(value.get_string()));
  }
  return result;
}

/// The words that `acceptWithExecpolicyAmendment` would store, where that answer is on offer.
std::vector<std::string> offeredPrefix(const json::Object& parameters) {
  const auto* proposed = json::list(parameters, "proposedExecpolicyAmendment");
  const auto words = proposed ? texts(*proposed) : std::nullopt;
  if (!words || words->empty()) return {};
  const auto* offered = json::list(parameters, "availableDecisions");
  if (!offered) return *words;  // older servers don't list the decisions
  const bool isOffered = std::any_of(offered->begin(), offered->end(), [&](const auto& decision) {
    const json::Object* object = decision.if_object();
    const json::Object* rule =
        object ? json::object(*object, "acceptWithExecpolicyAmendment") : nullptr;
    const auto* pattern = rule ? json::list(*rule, "execpolicy_amendment") : nullptr;
    return pattern && texts(*pattern) == words;
  });
  return isOffered ? *words : std::vector<std::string>();
}

void readCommand(const json::Object& parameters, ApprovalRequest& request) {
  request.toolName = "Bash";
  const std::string_view kind = json::text(parameters, "kind");
  const bool isOneCommand = (kind.empty() || kind == "command") &&
                            isAbsent(parameters, "networkApprovalContext") &&
                            isAbsent(parameters, "additionalPermissions");
  if (!isOneCommand) return;
  request.detail = scriptOf(json::text(parameters, "command"));
  request.prefix = offeredPrefix(parameters);
}

void readFileChange(const json::Object& parameters,
                    const std::map<std::string, json::Object>& items, ApprovalRequest& request) {
  request.toolName = "apply_patch";
  // A root stands for every later write below it, which one answer from afar must not give.
  if (!isAbsent(parameters, "grantRoot")) return;
  if (const auto item = items.find(request.itemID); item != items.end())
    request.detail = changesText(item->second);
}

std::string_view verbOf(const json::Object& change) {
  const json::Object* kind = json::object(change, "kind");
  const std::string_view type = kind ? json::text(*kind, "type") : std::string_view();
  if (type == "add") return "Add ";
  if (type == "delete") return "Delete ";
  return "Update ";
}

}  // namespace

ThreadStatus threadStatus(const json::Object& object) {
  ThreadStatus status;
  const std::string_view type = json::text(object, "type");
  if (type == "idle") status.kind = ThreadStatus::Kind::idle;
  if (type == "systemError") status.kind = ThreadStatus::Kind::failed;
  if (type != "active") return status;
  status.kind = ThreadStatus::Kind::active;
  const auto* flags = json::list(object, "activeFlags");
  status.isWaiting = flags && !flags->empty();
  return status;
}

std::optional<ThreadRecord> threadRecord(const json::Object& thread) {
  ThreadRecord record;
  record.id = json::text(thread, "id");
  if (record.id.empty()) return std::nullopt;
  record.sessionID = json::text(thread, "sessionId");
  if (record.sessionID.empty()) record.sessionID = record.id;
  record.workingDirectory = json::text(thread, "cwd");
  record.title = json::text(thread, "name");
  if (record.title.empty()) record.title = json::text(thread, "preview");
  record.isHidden = json::isTrue(thread, "ephemeral");
  if (const json::Object* status = json::object(thread, "status"))
    record.status = threadStatus(*status);
  return record;
}

std::string changesText(const json::Object& item) {
  const auto* changes = json::list(item, "changes");
  std::string text;
  for (const json::Value& value : changes ? *changes : boost::json::array()) {
    const json::Object* change = value.if_object();
    const std::string_view path = change ? json::text(*change, "path") : std::string_view();
    if (path.empty()) return {};  // half a patch is not to be decided on
    text.append(verbOf(*change)).append(path);
    const json::Object* kind = json::object(*change, "kind");
    if (kind && !isAbsent(*kind, "move_path"))
      text.append(" and move it to ").append(json::text(*kind, "move_path"));
    text += '\n';
    text.append(json::text(*change, "diff"));
    if (text.back() != '\n') text += '\n';
  }
  if (!text.empty()) text.pop_back();
  return text;
}

std::string activityOf(const json::Object& item) {
  const std::string_view type = json::text(item, "type");
  if (type == "commandExecution") return "$ " + scriptOf(json::text(item, "command"));
  if (type == "fileChange") {
    const auto* changes = json::list(item, "changes");
    const json::Object* first =
        changes && !changes->empty() ? changes->front().if_object() : nullptr;
    return "apply_patch " + std::string(first ? json::text(*first, "path") : "");
  }
  if (type == "mcpToolCall")
    return std::string(json::text(item, "server")) + " " + std::string(json::text(item, "tool"));
  if (type == "webSearch") return "Search: " + std::string(json::text(item, "query"));
  return {};
}

std::optional<ApprovalRequest> approvalRequest(const json::Object& message,
                                               const std::map<std::string, json::Object>& items) {
  const std::string_view method = json::text(message, "method");
  const bool isCommand = method == "item/commandExecution/requestApproval";
  if (!isCommand && method != "item/fileChange/requestApproval") return std::nullopt;
  const json::Object* parameters = json::object(message, "params");
  const json::Value* id = message.if_contains("id");
  if (!parameters || !id || !(id->is_string() || id->is_number())) return std::nullopt;
  ApprovalRequest request;
  request.id = *id;
  request.threadID = json::text(*parameters, "threadId");
  request.itemID = json::text(*parameters, "itemId");
  request.approvalID = json::text(*parameters, "approvalId");
  if (request.threadID.empty() || request.itemID.empty()) return std::nullopt;
  if (isCommand)
    readCommand(*parameters, request);
  else
    readFileChange(*parameters, items, request);
  return request;
}

std::string prefixRule(const std::vector<std::string>& prefix) {
  std::string text = "Bash(";
  for (const std::string& word : prefix) {
    if (text.back() != '(') text += ' ';
    // Blanks inside a word would read as several words.
    const bool isPlain = word.find_first_of(" \t\n\"'") == std::string::npos && !word.empty();
    text += isPlain ? word : boost::json::serialize(word);
  }
  return text + ", and whatever follows)";
}

}  // namespace idlewyn::relay::codex

// SPDX-License-Identifier: MIT
#include <tools/relay/agents/codex/AppServerClient.hpp>

#include <algorithm>

#include <tools/relay/agents/codex/Rollout.hpp>

namespace idlewyn::relay::codex {
namespace {

json::Object thread(const std::string& id) { return {{"threadId", id}}; }

}  // namespace

AppServerClient::~AppServerClient() {
  for (const auto& [key, pending] : std::exchange(pending_, {}))
    sink_.withdraw(pending.promptID);
  for (const auto& [id, thread] : std::exchange(threads_, {})) {
    if (thread.isKnown && !thread.record.isHidden && id == thread.record.sessionID) sink_.ended(id);
  }
}

void AppServerClient::open() {
  const json::Object client{{"name", "idlewyn-relay"}, {"version", "1"}};
  call("initialize", {{"clientInfo", client}}, [this](const json::Object* result) {
    if (!result) return;
    notify("initialized");
    listThreads({});
  });
}

void AppServerClient::receive(std::string_view text) {
  const auto message = json::parsed(text);
  if (!message) return;
  const std::string_view method = json::text(*message, "method");
  if (method.empty()) {
    if (const auto id = json::number(*message, "id")) takeAnswer(*message, *id);
    return;
  }
  if (message->contains("id")) return takeApproval(*message);
  if (const json::Object* parameters = json::object(*message, "params"))
    takeNotification(method, *parameters);
}

void AppServerClient::nudge(const std::string& threadID) {
  const auto found = threads_.find(threadID);
  if (found != threads_.end()) subscribe(found->second);
}

void AppServerClient::call(std::string_view method, json::Object parameters, Answered answered) {
  const std::int64_t id = ++lastCall_;
  calls_.emplace(id, std::move(answered));
  send_(boost::json::serialize(
      json::Object{{"id", id}, {"method", method}, {"params", std::move(parameters)}}));
}

void AppServerClient::notify(std::string_view method) {
  send_(boost::json::serialize(json::Object{{"method", method}}));
}

void AppServerClient::takeAnswer(const json::Object& message, std::int64_t id) {
  const auto found = calls_.find(id);
  if (found == calls_.end()) return;
  const Answered answered = std::move(found->second);
  calls_.erase(found);
  answered(json::object(message, "result"));
}

void AppServerClient::takeNotification(std::string_view method, const json::Object& parameters) {
  if (method == "thread/started") {
    if (const json::Object* started = json::object(parameters, "thread")) learn(*started);
    return;
  }
  if (method == "serverRequest/resolved") return resolve(parameters);
  const std::string id(json::text(parameters, "threadId"));
  if (id.empty()) return;
  if (method == "thread/status/changed") return takeStatus(id, parameters);
  if (method == "thread/closed" || method == "thread/deleted") return forget(id);
  const auto found = threads_.find(id);
  if (found == threads_.end()) return;
  if (method.starts_with("item/")) return takeItem(method, found->second, parameters);
  takeTurnNews(method, found->second, parameters);
}

void AppServerClient::takeStatus(const std::string& threadID, const json::Object& parameters) {
  const json::Object* object = json::object(parameters, "status");
  if (!object) return;
  const ThreadStatus status = threadStatus(*object);
  if (status.kind == ThreadStatus::Kind::notLoaded) return forget(threadID);
  const auto found = threads_.find(threadID);
  if (found == threads_.end() || !found->second.isKnown) return readThread(threadID);
  Thread& thread = found->second;
  const ThreadStatus before = std::exchange(thread.record.status, status);
  if (thread.record.isHidden) return;
  if (status.kind == ThreadStatus::Kind::active) {
    subscribe(thread);
    if (before.kind != ThreadStatus::Kind::active && threadID == thread.record.sessionID) {
      unfinished_.erase(threadID);
      show(thread);  // the list forgets sessions that were silent for long
      sink_.turnBegan(threadID);
    }
    // A title comes with the first prompt, and only when it is asked for.
    if (thread.record.title.empty()) readThread(threadID);
  }
  if (before.isWaiting != status.isWaiting)
    sink_.waiting(thread.record.sessionID, threadID, status.isWaiting);
  finishLate(thread.record.sessionID);
}

void AppServerClient::takeTurnNews(std::string_view method, Thread& thread,
                                   const json::Object& parameters) {
  const std::string& session = thread.record.sessionID;
  const bool isSubagent = thread.record.id != session;
  if (method == "turn/completed") {
    if (const json::Object* turn = json::object(parameters, "turn")) takeTurnEnd(thread, *turn);
  } else if (method == "thread/name/updated") {
    const std::string_view name = json::text(parameters, "threadName");
    if (name.empty() || isSubagent) return;
    thread.record.title = name;
    show(thread);
  } else if (method == "turn/plan/updated" && !isSubagent) {
    const auto* plan = json::list(parameters, "plan");
    if (!plan) return;
    const auto done = std::count_if(plan->begin(), plan->end(), [](const json::Value& step) {
      return step.is_object() && json::text(step.get_object(), "status") == "completed";
    });
    sink_.progress(session, done, static_cast<std::int64_t>(plan->size()));
  }
}

void AppServerClient::takeItem(std::string_view method, Thread& thread,
                               const json::Object& parameters) {
  const json::Object* item = json::object(parameters, "item");
  if (!item) return;
  const std::string id(json::text(*item, "id"));
  if (json::text(*item, "type") == "agentMessage" && thread.record.id == thread.record.sessionID)
    thread.lastMessage = json::text(*item, "text");
  if (method == "item/completed") {
    thread.items.erase(id);
    return;
  }
  if (method != "item/started") return;
  // A patch is announced before its approval is asked for.
  if (json::text(*item, "type") == "fileChange") thread.items.insert_or_assign(id, *item);
  if (const std::string line = activityOf(*item); !line.empty() && !thread.record.isHidden)
    sink_.activity(thread.record.sessionID, line);
}

void AppServerClient::takeTurnEnd(Thread& thread, const json::Object& turn) {
  thread.items.clear();
  thread.hasAskedForItems = false;
  withdrawAll(thread.record.id);
  unsubscribe(thread);
  const std::string session = thread.record.sessionID;
  if (thread.record.isHidden || thread.record.id != session) return;
  const std::string_view status = json::text(turn, "status");
  const json::Object* error = json::object(turn, "error");
  if (status == "interrupted") {
    sink_.interrupted(session);
  } else if (status == "failed" || error) {
    sink_.failed(session, errorMessage(error ? json::text(*error, "message") : ""));
  } else {
    unfinished_.insert_or_assign(session, std::exchange(thread.lastMessage, {}));
    finishLate(session);
  }
}

void AppServerClient::finishLate(const std::string& sessionID) {
  const auto found = unfinished_.find(sessionID);
  if (found == unfinished_.end()) return;
  const bool works = std::any_of(threads_.begin(), threads_.end(), [&](const auto& entry) {
    const ThreadRecord& record = entry.second.record;
    return record.sessionID == sessionID && record.status.kind == ThreadStatus::Kind::active;
  });
  if (works) return;
  const std::string summary = std::move(found->second);
  unfinished_.erase(found);
  sink_.finished(sessionID, summary);
}

void AppServerClient::listThreads(const std::string& cursor) {
  json::Object parameters;
  if (!cursor.empty()) parameters.emplace("cursor", cursor);
  call("thread/loaded/list", std::move(parameters), [this](const json::Object* result) {
    const auto* ids = result ? json::list(*result, "data") : nullptr;
    if (!ids) return;
    for (const json::Value& id : *ids) {
      if (id.is_string()) readThread(std::string(std::string_view(id.get_string())));
    }
    if (const std::string_view next = json::text(*result, "nextCursor"); !next.empty())
      listThreads(std::string(next));
  });
}

void AppServerClient::readThread(const std::string& id) {
  threads_[id].record.id = id;
  call("thread/read", thread(id), [this](const json::Object* result) {
    if (const json::Object* read = result ? json::object(*result, "thread") : nullptr) learn(*read);
  });
}

void AppServerClient::learn(const json::Object& object) {
  auto record = threadRecord(object);
  if (!record) return;
  Thread& thread = threads_[record->id];
  // Notifications tell a known thread's status; an answer may have been overtaken by one.
  if (thread.isKnown) record->status = thread.record.status;
  thread.record = std::move(*record);
  const bool isNew = !std::exchange(thread.isKnown, true);
  if (thread.record.isHidden) return;
  const auto* turns = json::list(object, "turns");
  if (turns && !turns->empty() && turns->back().is_object())
    keepItems(thread, turns->back().get_object());
  show(thread);
  if (thread.record.status.kind != ThreadStatus::Kind::active) return;
  if (isNew && thread.record.id == thread.record.sessionID) sink_.turnBegan(thread.record.id);
  if (isNew && thread.record.status.isWaiting)
    sink_.waiting(thread.record.sessionID, thread.record.id, true);
  subscribe(thread);
  for (const json::Object& request : std::exchange(thread.early, {}))
    takeApproval(request);
}

void AppServerClient::keepItems(Thread& thread, const json::Object& turn) {
  const auto* items = json::list(turn, "items");
  for (const json::Value& value : items ? *items : boost::json::array()) {
    const json::Object* item = value.if_object();
    if (item && json::text(*item, "type") == "fileChange" &&
        json::text(*item, "status") == "inProgress")
      thread.items.insert_or_assign(std::string(json::text(*item, "id")), *item);
  }
}

void AppServerClient::subscribe(Thread& thread, bool withItems) {
  if (!withItems && thread.subscription != Subscription::none) return;
  thread.subscription = Subscription::asked;
  // Without its turns an answer is short; only a patch that was announced before needs them.
  json::Object parameters = codex::thread(thread.record.id);
  parameters.emplace("excludeTurns", !withItems);
  call("thread/resume", std::move(parameters),
       [this, id = thread.record.id](const json::Object* result) {
         const auto found = threads_.find(id);
         if (found == threads_.end()) return;
         found->second.subscription = result ? Subscription::held : Subscription::none;
         if (const json::Object* read = result ? json::object(*result, "thread") : nullptr)
           learn(*read);
       });
}

void AppServerClient::unsubscribe(Thread& thread) {
  if (std::exchange(thread.subscription, Subscription::none) == Subscription::none) return;
  call("thread/unsubscribe", codex::thread(thread.record.id), [](const json::Object*) {});
}

void AppServerClient::show(Thread& thread) {
  // Nothing stands in a thread before its first prompt, and subagents are no sessions.
  if (thread.record.title.empty() || thread.record.id != thread.record.sessionID) return;
  sink_.seen(thread.record.id, thread.record.title, thread.record.workingDirectory);
}

void AppServerClient::forget(const std::string& threadID) {
  const auto found = threads_.find(threadID);
  if (found == threads_.end()) return;
  const ThreadRecord record = std::move(found->second.record);
  threads_.erase(found);
  withdrawAll(threadID);
  if (!record.isHidden && record.id == record.sessionID) {
    unfinished_.erase(threadID);
    sink_.ended(threadID);
  } else if (!record.isHidden) {
    sink_.waiting(record.sessionID, threadID, false);
    finishLate(record.sessionID);
  }
}

void AppServerClient::withdrawAll(const std::string& threadID) {
  std::erase_if(pending_, [&](const auto& entry) {
    if (entry.second.request.threadID != threadID) return false;
    sink_.withdraw(entry.second.promptID);
    return true;
  });
}

void AppServerClient::takeApproval(const json::Object& message) {
  const json::Object* parameters = json::object(message, "params");
  const auto found =
      threads_.find(parameters ? std::string(json::text(*parameters, "threadId")) : "");
  if (found == threads_.end() || found->second.record.isHidden) return;
  if (!found->second.isKnown) {
    if (found->second.early.size() < 16) found->second.early.push_back(message);
    return;
  }
  auto request = approvalRequest(message, found->second.items);
  if (!request || pending_.contains(boost::json::serialize(request->id))) return;
  const bool lacksItem = request->toolName == "apply_patch" && request->detail.empty() &&
                         !found->second.items.contains(request->itemID);
  if (lacksItem && !found->second.hasAskedForItems) {
    found->second.hasAskedForItems = true;
    return subscribe(found->second, true);  // sends the request again, after the items
  }
  ask(found->second, std::move(*request));
}

void AppServerClient::ask(Thread& thread, ApprovalRequest request) {
  const std::string key = boost::json::serialize(request.id);
  Question question;
  question.sessionID = thread.record.sessionID;
  if (thread.record.id != thread.record.sessionID) question.agentID = thread.record.id;
  question.toolName = request.toolName;
  question.detail = request.detail;
  if (!request.prefix.empty()) question.alwaysRule = prefixRule(request.prefix);
  question.key = request.threadID + " " + request.itemID + " " + request.approvalID;
  pending_.emplace(key, Pending{{}, std::move(request)});
  const std::string prompt = sink_.ask(
      std::move(question),
      [this, key](std::optional<PermissionDecision> decision) { return answer(key, decision); });
  if (const auto open = pending_.find(key); open != pending_.end()) open->second.promptID = prompt;
}

bool AppServerClient::answer(const std::string& key, std::optional<PermissionDecision> decision) {
  const auto found = pending_.find(key);
  if (found == pending_.end()) return false;
  const Pending pending = std::move(found->second);
  pending_.erase(found);
  if (!decision) return true;  // the terminal's dialog stands
  json::Value verdict = decision == PermissionDecision::deny ? "decline" : "accept";
  if (decision == PermissionDecision::always && !pending.request.prefix.empty()) {
    verdict = json::Object{
        {"acceptWithExecpolicyAmendment",
         json::Object{{"execpolicy_amendment", boost::json::value_from(pending.request.prefix)}}}};
  }
  send_(boost::json::serialize(json::Object{
      {"id", pending.request.id}, {"result", json::Object{{"decision", std::move(verdict)}}}}));
  return true;
}

void AppServerClient::resolve(const json::Object& parameters) {
  const json::Value* id = parameters.if_contains("requestId");
  const auto found = pending_.find(id ? boost::json::serialize(*id) : std::string());
  if (found == pending_.end()) return;
  const std::string prompt = found->second.promptID;
  pending_.erase(found);
  sink_.withdraw(prompt);
}

}  // namespace idlewyn::relay::codex

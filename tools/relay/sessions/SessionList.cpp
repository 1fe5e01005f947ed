// SPDX-License-Identifier: MIT
#include <tools/relay/sessions/SessionList.hpp>

#include <algorithm>

#include <tools/relay-core/Secrets.hpp>
#include <tools/relay/sessions/Line.hpp>

namespace idlewyn::relay {
namespace {

constexpr std::size_t titleLimit = 200, summaryLimit = 400, activityLimit = 200;
/// Nothing was heard of a session for so long: it has gone without a word.
constexpr double silence = 24.0 * 3600.0;
constexpr double finishedFor = 12.0 * 3600.0;
/// A hook that was answered asks again at most within the seconds in which it waits for a relay
/// that restarts.
constexpr std::chrono::hours answeredFor{1};
constexpr std::size_t mostDialogs = 64;
constexpr std::size_t idLength = 32;

AgentSession newRecord(AgentProvider provider, const std::string& id, Date at) {
  return AgentSession(id, provider, {}, std::nullopt, SessionStatus::idle, at, at, std::nullopt,
                      std::nullopt, std::nullopt, std::nullopt, std::nullopt, std::nullopt);
}

void endTurn(AgentSession& record, SessionStatus status, const std::string& text) {
  record.status = status;
  record.activity.reset();
  record.turnStartedAt.reset();
  const std::string line = oneLine(text, summaryLimit);
  record.summary = line.empty() ? std::nullopt : std::optional(line);
}

void beginTurn(AgentSession& record, Date at) {
  record.status = SessionStatus::working;
  record.turnStartedAt = at;
  record.summary.reset();
  record.activity.reset();
  record.taskDone.reset();
  record.taskTotal.reset();
}

void take(AgentSession& record, const Event& event) {
  switch (event.kind) {
    case EventKind::seen:
      if (const std::string title = oneLine(event.text, titleLimit); !title.empty())
        record.title = title;
      if (!event.folder.empty()) record.workingDirectory = event.folder;
      break;
    case EventKind::turnBegan: beginTurn(record, event.at); break;
    case EventKind::activity:
      if (record.status != SessionStatus::working) record.summary.reset();
      record.status = SessionStatus::working;
      record.activity = oneLine(event.text, activityLimit);
      if (record.activity->empty()) record.activity.reset();
      break;
    case EventKind::progress:
      record.taskDone = event.total > 0 ? std::optional(event.done) : std::nullopt;
      record.taskTotal = event.total > 0 ? std::optional(event.total) : std::nullopt;
      break;
    case EventKind::finished: endTurn(record, SessionStatus::finished, event.text); break;
    case EventKind::failed: endTurn(record, SessionStatus::failed, event.text); break;
    case EventKind::interrupted: endTurn(record, SessionStatus::idle, {}); break;
    case EventKind::waits:
    case EventKind::goesOn:
    case EventKind::ended: break;
  }
}

}  // namespace

void SessionList::apply(const Event& event) {
  if (event.kind == EventKind::ended) return end({event.provider, event.sessionID});
  Session& session = find(event.provider, event.sessionID, event.at);
  take(session.record, event);
  session.record.updatedAt = event.at;
  auto& dialogs = session.dialogs;
  // Whatever begins or ends a turn has closed the terminal's dialogs.
  const bool isTurn = event.kind > EventKind::goesOn || event.kind == EventKind::turnBegan;
  if (isTurn) dialogs.clear();
  if (event.kind == EventKind::goesOn) {
    std::erase_if(dialogs, [&](const std::string& name) {
      return name.empty() || name.starts_with(event.text);
    });
  }
  const bool isNew = std::find(dialogs.begin(), dialogs.end(), event.text) == dialogs.end();
  if (event.kind == EventKind::waits && isNew && dialogs.size() < mostDialogs)
    dialogs.push_back(event.text);
  if (dialogs.empty() && (isTurn || event.kind == EventKind::goesOn)) session.isTooLong = false;
  changed();
}

std::string SessionList::ask(Question question, Answer answer) {
  const Date now = clock_();
  Session& session = find(question.provider, question.sessionID, now);
  session.record.updatedAt = now;
  session.isTooLong = question.detail.size() > longestDetail;
  if (session.isTooLong || question.detail.empty() || !policy_.remoteApprovals()) {
    changed();
    return {};
  }
  PermissionPrompt record(idOf(question), std::move(question.toolName), std::move(question.detail),
                          now, std::move(question.alwaysRule));
  const std::string id = record.id;
  prompts_.push_back(
      {{question.provider, question.sessionID}, std::move(record), std::move(answer)});
  changed();
  return id;
}

void SessionList::withdraw(const std::string& promptID) {
  const auto removed =
      std::erase_if(prompts_, [&](const Prompt& prompt) { return prompt.record.id == promptID; });
  if (removed > 0) changed();
}

std::vector<AgentSession> SessionList::sessions(AgentProvider provider) const {
  std::vector<AgentSession> result;
  const Date now = clock_();
  for (const auto& [key, session] : sessions_) {
    if (key.first == provider && !isOver(session, now)) result.push_back(served(session));
  }
  return result;
}

void SessionList::decide(AgentProvider provider, const std::string& promptID,
                         PermissionDecision decision, Decided decided) {
  const auto found = std::find_if(prompts_.begin(), prompts_.end(), [&](const Prompt& prompt) {
    return prompt.record.id == promptID && prompt.session.first == provider;
  });
  if (found == prompts_.end()) return decided(DecisionOutcome::gone);
  if (decision == PermissionDecision::always && !found->record.alwaysRule)
    return decided(DecisionOutcome::noRule);
  // Removed first, answered then: nothing is answered twice.
  const Answer answer = std::move(found->answer);
  const Date now = clock_();
  std::erase_if(answered_, [&](const auto& entry) { return entry.second + answeredFor < now; });
  answered_.emplace(promptID, now);
  prompts_.erase(found);
  const bool isTaken = answer(decision);
  changed();
  decided(isTaken ? DecisionOutcome::accepted : DecisionOutcome::gone);
}

void SessionList::withdrawAll() {
  giveBack([](const Prompt&) { return true; });
  changed();
}

SessionList::Session& SessionList::find(AgentProvider provider, const std::string& sessionID,
                                        Date at) {
  const Key key(provider, sessionID);
  if (const auto found = sessions_.find(key); found != sessions_.end()) return found->second;
  forgetOld(at);
  return sessions_.try_emplace(key, newRecord(provider, sessionID, at)).first->second;
}

bool SessionList::hasPrompt(const Session& session) const {
  const Key key(session.record.provider, session.record.id);
  return std::any_of(prompts_.begin(), prompts_.end(),
                     [&](const Prompt& prompt) { return prompt.session == key; });
}

bool SessionList::isOver(const Session& session, Date now) const {
  const bool isDone = session.record.status == SessionStatus::finished ||
                      session.record.status == SessionStatus::failed;
  const double age = (now - session.record.updatedAt).count();
  return age >= (isDone ? finishedFor : silence) && !hasPrompt(session);
}

void SessionList::forgetOld(Date now) {
  std::vector<Key> old;
  auto oldest = sessions_.end();
  for (auto session = sessions_.begin(); session != sessions_.end(); ++session) {
    if (isOver(session->second, now)) old.push_back(session->first);
    const bool isOlder = oldest == sessions_.end() ||
                         session->second.record.updatedAt < oldest->second.record.updatedAt;
    if (isOlder && !hasPrompt(session->second)) oldest = session;
  }
  if (old.empty() && sessions_.size() >= mostSessions && oldest != sessions_.end())
    old.push_back(oldest->first);
  for (const Key& key : old) {
    sessions_.erase(key);
    const auto forgotten = forgotten_.find(key.first);
    if (forgotten != forgotten_.end() && forgotten->second) forgotten->second(key.second);
  }
}

void SessionList::end(const Key& key) {
  giveBack([&](const Prompt& prompt) { return prompt.session == key; });
  if (sessions_.erase(key) > 0) changed();
}

void SessionList::giveBack(const std::function<bool(const Prompt&)>& which) {
  std::vector<Prompt> given;
  std::vector<Prompt> kept;
  for (Prompt& prompt : prompts_)
    (which(prompt) ? given : kept).push_back(std::move(prompt));
  prompts_ = std::move(kept);
  for (const Prompt& prompt : given) {
    const auto session = sessions_.find(prompt.session);
    if (session != sessions_.end() && session->second.dialogs.empty())
      session->second.dialogs.emplace_back();
    prompt.answer(std::nullopt);
  }
}

AgentSession SessionList::served(const Session& session) const {
  AgentSession record = session.record;
  const Key key(record.provider, record.id);
  const auto oldest = std::find_if(prompts_.begin(), prompts_.end(),
                                   [&](const Prompt& prompt) { return prompt.session == key; });
  if (oldest != prompts_.end()) record.permission = oldest->record;
  if (oldest == prompts_.end() && session.dialogs.empty()) return record;
  record.status = SessionStatus::waitingForInput;
  if (session.isTooLong && !record.permission)
    record.summary = "The question is too long to be answered from here.";
  return record;
}

std::string SessionList::idOf(const Question& question) const {
  std::string id = digestOf(secret_ + "\n" + question.sessionID + "\n" + question.key);
  id.resize(idLength);
  const bool isTaken = question.key.empty() || answered_.contains(id) ||
                       std::any_of(prompts_.begin(), prompts_.end(),
                                   [&](const Prompt& prompt) { return prompt.record.id == id; });
  return isTaken ? randomToken().substr(0, idLength) : id;
}

void SessionList::changed() const {
  if (changed_) changed_();
}

}  // namespace idlewyn::relay

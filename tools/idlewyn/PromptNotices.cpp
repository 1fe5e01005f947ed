// SPDX-License-Identifier: MIT
#include "PromptNotices.hpp"

#include <algorithm>
#include <utility>

#include "CodePoint.hpp"
#include "Escape.hpp"
#include "PromptChoice.hpp"
#include "Table.hpp"

namespace idlewyn::command {
namespace {

// What servers show whole; they cut what is longer without saying so.
constexpr std::size_t readable = 300;

std::string keyOf(const PromptRecord& prompt) {
  return std::string(rawValue(prompt.agent)) + "\nprompt\n" + prompt.id;
}

std::string keyOf(const AgentSession& session) {
  return std::string(rawValue(session.provider)) + "\nsession\n" + session.id;
}

std::string titleOf(AgentProvider agent, std::string_view what, std::string_view title) {
  return std::string(shortName(agent)) + ": " + std::string(what) + " · " + escaped(title);
}

}  // namespace

Notice noticeOf(const PromptRecord& prompt) {
  std::string question = escaped(prompt.toolName) + ": " + escaped(prompt.detail);
  if (prompt.alwaysRule) question += "\nAlways adds the rule " + escaped(*prompt.alwaysRule);
  Notice notice{
      keyOf(prompt), titleOf(prompt.agent, "needs an answer", prompt.sessionTitle), "", {}, ""};
  const std::string elsewhere = "Answer with: idlewyn allow " + escaped(prompt.id);
  if (displayWidth(question) > readable) {
    // Nobody should agree to what can't be seen.
    notice.body = cutToWidth(question, readable) + "\nToo long to be answered here. " + elsewhere;
    return notice;
  }
  notice.body = std::move(question);
  notice.withoutButtons = elsewhere;
  notice.buttons = {{"allow", "Allow"}, {"deny", "Deny"}};
  if (prompt.alwaysRule) notice.buttons.push_back({"always", "Always"});
  return notice;
}

Notice noticeOf(const AgentSession& session) {
  return {keyOf(session),
          titleOf(session.provider, label(session.status), session.title),
          escaped(session.displaySummary().value_or("")),
          {},
          ""};
}

void PromptNotices::tell(const std::vector<SessionTransition>& transitions) {
  for (const SessionTransition& transition : transitions) {
    const AgentSession& session = transition.session;
    if (!session.permission) {
      notifier_->show(noticeOf(session));
      continue;
    }
    const PromptRecord prompt(session.provider, session.id, session.title, *session.permission);
    const std::string key = keyOf(prompt);
    if (!told_.insert(key + "\n" + prompt.toolName + "\n" + prompt.detail).second) continue;
    open_.insert_or_assign(key, prompt);
    notifier_->show(noticeOf(prompt));
  }
}

void PromptNotices::update(const SessionSnapshot& snapshot) {
  const auto now = openPrompts(snapshot.sessions);
  std::erase_if(open_, [&](const auto& entry) {
    const auto isIt = [&](const PromptRecord& prompt) {
      return isSameQuestion(prompt, entry.second);
    };
    if (std::ranges::any_of(now, isIt)) return false;
    notifier_->withdraw(entry.first);
    return true;
  });
}

std::vector<NoticeAnswer> PromptNotices::take() {
  std::vector<NoticeAnswer> answers;
  for (const PressedButton& pressed : notifier_->take()) {
    const auto found = open_.find(pressed.key);
    const auto decision = platform::fromRawValue<PermissionDecision>(pressed.name);
    if (found == open_.end() || !decision) continue;
    answers.push_back({*decision, found->second});
    open_.erase(found);  // never sent twice
  }
  return answers;
}

}  // namespace idlewyn::command

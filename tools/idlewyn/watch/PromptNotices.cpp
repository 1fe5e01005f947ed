// SPDX-License-Identifier: MIT
#include <tools/idlewyn/watch/PromptNotices.hpp>

#include <algorithm>
#include <array>
#include <utility>

#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <tools/idlewyn/prompts/PromptChoice.hpp>
#include <tools/idlewyn/terminal/DisplayWidth.hpp>
#include <tools/idlewyn/terminal/Table.hpp>

namespace idlewyn::command {
namespace {

// What servers show whole; they cut what is longer without saying so.
constexpr std::size_t readable = 300;

// Why an answer can't be given again.
constexpr std::array<std::string_view, 3> over{"promptNotOpen", "promptExpired", "promptChanged"};

std::string titleOf(AgentProvider agent, std::string_view what, std::string_view title) {
  return std::string(shortName(agent)) + ": " + std::string(what) + " · " + shownTitle(title);
}

// A prompt that is too long to be read there has no buttons.
Notice noticeOf(const PromptRecord& prompt, std::string key) {
  std::string question = displayLine(prompt.toolName) + ": " + displayLine(prompt.detail);
  if (prompt.alwaysRule) question += "\nAlways adds the rule " + displayLine(*prompt.alwaysRule);
  Notice notice{std::move(key), titleOf(prompt.agent, "needs an answer", prompt.sessionTitle)};
  notice.isQuestion = true;
  const std::string elsewhere = "Answer with: idlewyn allow " + displayLine(prompt.id);
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
  return {std::string(rawValue(session.provider)) + "\nsession\n" + session.id,
          titleOf(session.provider, label(session.status), session.title),
          displayLine(session.displaySummary().value_or(""))};
}

}  // namespace

void PromptNotices::tell(const std::vector<SessionTransition>& transitions) {
  for (const SessionTransition& transition : transitions) {
    if (!transition.session.permission) notifier_->show(noticeOf(transition.session));
  }
}

void PromptNotices::show(Open& open) {
  open.key = "prompt " + std::to_string(++shown_);
  open.isAnswered = false;
  notifier_->show(noticeOf(open.prompt, open.key));
}

void PromptNotices::update(const std::vector<PromptRecord>& now) {
  std::erase_if(open_, [&](const Open& open) {
    const auto isIt = [&](const PromptRecord& prompt) {
      return isSameQuestion(prompt, open.prompt);
    };
    if (std::ranges::any_of(now, isIt)) return false;
    notifier_->withdraw(open.key);
    return true;
  });
  for (const PromptRecord& prompt : now) {
    const auto isIt = [&](const Open& open) { return isSameQuestion(prompt, open.prompt); };
    if (std::ranges::none_of(open_, isIt)) show(open_.emplace_back(Open{prompt, ""}));
  }
}

std::vector<NoticeAnswer> PromptNotices::take() {
  std::vector<NoticeAnswer> answers;
  for (const PressedButton& pressed : notifier_->take()) {
    const auto found = std::ranges::find(open_, pressed.key, &Open::key);
    const auto decision = platform::fromRawValue<PermissionDecision>(pressed.name);
    if (found == open_.end() || found->isAnswered || !decision) continue;
    answers.push_back({*decision, found->prompt});
    found->isAnswered = true;  // never sent twice
  }
  return answers;
}

void PromptNotices::tell(const WatchAnswerRecord& answer) {
  if (!answer.message) return;
  const PromptRecord& prompt = answer.prompt;
  const std::string what = std::string(rawValue(answer.decision)) + " was not taken";
  notifier_->show(
      {"answer " + std::to_string(++shown_), titleOf(prompt.agent, what, prompt.sessionTitle),
       *answer.message + "\n" + displayLine(prompt.toolName) + ": " + displayLine(prompt.detail)});
  if (std::ranges::find(over, answer.kind.value_or("")) != over.end()) return;
  const auto isIt = [&](const Open& open) { return isSameQuestion(prompt, open.prompt); };
  const auto found = std::ranges::find_if(open_, isIt);
  if (found == open_.end() || !found->isAnswered) return;
  notifier_->withdraw(found->key);  // most servers have closed it
  open_.erase(found);               // if it is still open, the next update shows it again
}

void PromptNotices::tellEnd(const std::string& why) {
  notifier_->show({"end", "Coding agents are not watched any more", why});
}

}  // namespace idlewyn::command

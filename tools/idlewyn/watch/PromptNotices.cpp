// SPDX-License-Identifier: MIT
#include <tools/idlewyn/watch/PromptNotices.hpp>

#include <algorithm>
#include <array>
#include <unordered_set>
#include <utility>

#include <IdlewynKit/platform/text/DisplayText.hpp>
#include <IdlewynKit/platform/text/Unicode.hpp>

#include <tools/idlewyn/prompts/AnswerDoubt.hpp>
#include <tools/idlewyn/prompts/PromptChoice.hpp>
#include <tools/idlewyn/prompts/ShellWord.hpp>
#include <tools/idlewyn/terminal/DisplayWidth.hpp>
#include <tools/idlewyn/terminal/Table.hpp>

namespace idlewyn::command {
namespace {

constexpr std::size_t mostNotices = 5;

// What every server shows whole; they cut what is longer without saying so.
constexpr std::size_t mostRows = 5, rowColumns = 40;

constexpr std::string_view showName = "show";

// Why an answer can't be given again.
constexpr std::array<std::string_view, 3> over{"promptNotOpen", "promptExpired", "promptChanged"};

std::string titleOf(AgentProvider agent, std::string_view what, std::string_view title) {
  return std::string(shortName(agent)) + ": " + std::string(what) + " · " + shownTitle(title);
}

std::size_t rowsOf(std::string_view text) {
  std::size_t rows = 0;
  while (true) {
    const std::size_t end = text.find('\n');
    rows += 1 + displayWidth(text.substr(0, end)) / rowColumns;
    if (end == std::string_view::npos) return rows;
    text.remove_prefix(end + 1);
  }
}

// Servers cut what is long, may join blanks and reorder right-to-left text.
bool isShownWhole(const std::string& question) {
  const bool hasShape = question.find("  ") != std::string::npos ||
                        question.find("\n ") != std::string::npos ||
                        question.find('\t') != std::string::npos;
  return !hasShape && rowsOf(question) <= mostRows && !platform::hasRightToLeft(question);
}

// The first rows of a longer text.
std::string beginningOf(const std::string& text) {
  std::string line = cutToWidth(text, mostRows * rowColumns);
  std::size_t end = 0;
  for (std::size_t rows = 0; rows < mostRows && end != std::string::npos; ++rows)
    end = line.find('\n', end + 1);
  return end == std::string::npos ? line : line.substr(0, end) + "…";
}

std::string questionOf(const PromptRecord& prompt) {
  const std::string detail = displayBlock(prompt.detail);
  const char* between = detail.find('\n') == std::string::npos ? ": " : ":\n";
  std::string question = displayLine(prompt.toolName) + between + detail;
  if (prompt.alwaysRule) question += "\nAlways adds the rule " + displayBlock(*prompt.alwaysRule);
  return question;
}

// Equal for the same question alone.
std::string identityOf(const PromptRecord& prompt) {
  std::string identity(rawValue(prompt.agent));
  for (const std::string& part : {prompt.id, prompt.toolName, prompt.detail})
    identity += "\n" + std::to_string(part.size()) + "\n" + part;
  return prompt.alwaysRule ? identity + "\n" + *prompt.alwaysRule : identity;
}

Notice noticeOf(const AgentSession& session) {
  return {std::string(rawValue(session.provider)) + "\nsession\n" + session.id,
          titleOf(session.provider, label(session.status), session.title),
          displayLine(session.displaySummary().value_or(""))};
}

}  // namespace

std::vector<NoticeButton> PromptNotices::otherButtons() const {
  if (!openDashboard_) return {};
  return {{std::string(showName), "Show"}};
}

// Nobody should agree to what can't be seen: a prompt that is not shown whole has no answers.
Notice PromptNotices::noticeOf(const PromptRecord& prompt, std::string key) const {
  const std::string question = questionOf(prompt);
  const std::string elsewhere = "Answer with: idlewyn allow " + pasteableID(prompt.id);
  Notice notice{std::move(key), titleOf(prompt.agent, "needs an answer", prompt.sessionTitle)};
  notice.isQuestion = true;
  notice.otherButtons = otherButtons();
  if (!isShownWhole(question)) {
    notice.body = beginningOf(question) + "\nNot shown whole here. " + elsewhere;
    return notice;
  }
  notice.body = question;
  notice.withoutButtons = elsewhere;
  if (hasDotSegment(prompt.id)) {  // the command warns before it is answered
    notice.body += "\n" + std::exchange(notice.withoutButtons, "");
    return notice;
  }
  notice.buttons = {{"allow", "Allow"}, {"deny", "Deny"}};
  if (prompt.alwaysRule) notice.buttons.push_back({"always", "Always"});
  return notice;
}

void PromptNotices::tell(const std::vector<SessionTransition>& transitions) {
  std::size_t count = 0;
  for (const SessionTransition& transition : transitions) {
    if (transition.session.permission) continue;
    if (++count <= mostNotices) notifier_->show(command::noticeOf(transition.session));
  }
  if (count <= mostNotices) return;
  Notice more{"more sessions",
              "Coding agents: and " + std::to_string(count - mostNotices) + " more sessions",
              "See them with: idlewyn sessions"};
  more.otherButtons = otherButtons();
  notifier_->show(std::move(more));
}

void PromptNotices::withdrawEnded(const std::vector<PromptRecord>& now) {
  std::unordered_set<std::string> current;
  for (const PromptRecord& prompt : now)
    current.insert(identityOf(prompt));
  std::erase_if(open_, [&](const Open& open) {
    if (current.contains(identityOf(open.prompt))) return false;
    if (!open.key.empty()) notifier_->withdraw(open.key);
    return true;
  });
}

void PromptNotices::update(const std::vector<PromptRecord>& now) {
  withdrawEnded(now);
  std::unordered_set<std::string> known;
  for (const Open& open : open_)
    known.insert(identityOf(open.prompt));
  for (const PromptRecord& prompt : now) {
    if (known.insert(identityOf(prompt)).second) open_.push_back(Open{prompt, ""});
  }
  showSome();
}

void PromptNotices::showSome() {
  std::size_t shown = 0, rest = 0;
  for (const Open& open : open_)
    shown += open.key.empty() ? 0 : 1;
  for (Open& open : open_) {
    if (!open.key.empty()) continue;
    if (shown == mostNotices) {
      ++rest;
      continue;
    }
    ++shown;
    open.key = "prompt " + std::to_string(++shown_);
    notifier_->show(noticeOf(open.prompt, open.key));
  }
  if (rest != std::exchange(rest_, rest)) showRest(rest);
}

void PromptNotices::showRest(std::size_t count) {
  const std::string key = "more prompts";
  if (count == 0) return notifier_->withdraw(key);
  Notice more{key, "Coding agents: and " + std::to_string(count) + " more need an answer",
              "See them with: idlewyn sessions"};
  more.isQuestion = true;
  more.otherButtons = otherButtons();
  notifier_->show(std::move(more));
}

std::vector<NoticeAnswer> PromptNotices::take() {
  std::vector<NoticeAnswer> answers;
  for (const PressedButton& pressed : notifier_->take()) {
    if (pressed.name == showName) {
      if (openDashboard_) openDashboard_();
      continue;
    }
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
  notifier_->show({"answer " + std::to_string(++shown_),
                   titleOf(prompt.agent, what, prompt.sessionTitle),
                   *answer.message + "\n" + beginningOf(questionOf(prompt))});
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

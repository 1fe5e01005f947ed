// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <IdlewynKit/model/SessionTransition.hpp>

#include <tools/idlewyn/notify/Notifier.hpp>
#include <tools/idlewyn/records/SessionRecords.hpp>

namespace idlewyn::command {

/// An answer that was given on the desktop.
struct NoticeAnswer {
  PermissionDecision decision;
  /// As it was shown there.
  PromptRecord prompt;
};

/// What of the sessions is told on the desktop: each transition once, and each open prompt until
/// it has ended or was answered. Of more than five at once, five are shown and the rest counted.
class PromptNotices {
 public:
  /// `openDashboard` is what the button "Show" does; without it there is no such button.
  PromptNotices(std::unique_ptr<Notifier> notifier, std::function<void()> openDashboard)
      : notifier_(std::move(notifier)), openDashboard_(std::move(openDashboard)) {}

  Notifier& notifier() const noexcept { return *notifier_; }

  void tell(const std::vector<SessionTransition>& transitions);
  /// Shows the prompts that are open now, and takes down those that are open no more.
  void update(const std::vector<PromptRecord>& open);
  /// Each prompt once.
  std::vector<NoticeAnswer> take();
  /// What came of an answer: one that was not taken is told, and asked for again if it may still
  /// be given.
  void tell(const WatchAnswerRecord& answer);
  /// Watching ends without having been asked to.
  void tellEnd(const std::string& why);

 private:
  struct Open {
    PromptRecord prompt;
    /// Its notice's; empty while it is only counted. A notice is never changed: a press is an
    /// answer to what was seen.
    std::string key;
    bool isAnswered = false;
  };
  void withdrawEnded(const std::vector<PromptRecord>& now);
  void showSome();
  void showRest(std::size_t count);
  Notice noticeOf(const PromptRecord& prompt, std::string key) const;
  std::vector<NoticeButton> otherButtons() const;

  const std::unique_ptr<Notifier> notifier_;
  const std::function<void()> openDashboard_;
  std::vector<Open> open_;
  /// How many prompts are only counted, as was told last.
  std::size_t rest_ = 0;
  std::uint64_t shown_ = 0;
};

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
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
/// it has ended or was answered.
class PromptNotices {
 public:
  explicit PromptNotices(std::unique_ptr<Notifier> notifier) : notifier_(std::move(notifier)) {}

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
    /// Its notice's. A notice is never changed: a press is an answer to what was seen.
    std::string key;
    bool isAnswered = false;
  };
  void show(Open& open);

  const std::unique_ptr<Notifier> notifier_;
  std::vector<Open> open_;
  std::uint64_t shown_ = 0;
};

}  // namespace idlewyn::command

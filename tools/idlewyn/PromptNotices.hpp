// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <IdlewynKit/model/SessionTransition.hpp>

#include "PromptRecord.hpp"
#include "notify/Notifier.hpp"

namespace idlewyn::command {

/// An answer that was given on the desktop.
struct NoticeAnswer {
  PermissionDecision decision;
  /// As it was shown there.
  PromptRecord prompt;
};

/// What of the sessions is told on the desktop: each transition once, and each open prompt until
/// it has ended.
class PromptNotices {
 public:
  explicit PromptNotices(std::unique_ptr<Notifier> notifier) : notifier_(std::move(notifier)) {}

  Notifier& notifier() const noexcept { return *notifier_; }

  void tell(const std::vector<SessionTransition>& transitions);
  /// Takes down the notices of prompts that are open no more.
  void update(const SessionSnapshot& snapshot);
  std::vector<NoticeAnswer> take();

 private:
  const std::unique_ptr<Notifier> notifier_;
  std::map<std::string, PromptRecord> open_;
  /// Prompts that were told, open or not.
  std::set<std::string> told_;
};

/// The texts are escaped. A prompt that is too long to be read there has no buttons.
Notice noticeOf(const PromptRecord& prompt);
Notice noticeOf(const AgentSession& session);

}  // namespace idlewyn::command

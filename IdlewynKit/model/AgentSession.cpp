// SPDX-License-Identifier: MIT
#include <IdlewynKit/model/AgentSession.hpp>

#include <string_view>
#include <utility>

namespace idlewyn {

namespace {

std::optional<std::string> unlessEmpty(const std::optional<std::string>& text) {
  return text && !text->empty() ? text : std::nullopt;
}

// The text after the last slash, trailing slashes aside; all slashes give one.
std::string_view lastPathComponent(std::string_view path) {
  const auto end = path.find_last_not_of('/');
  if (end == std::string_view::npos) return "/";
  path = path.substr(0, end + 1);
  return path.substr(path.rfind('/') + 1);
}

}  // namespace

AgentSession::AgentSession(std::string sessionID, AgentProvider agent, std::string sessionTitle,
                           std::optional<std::string> directory, SessionStatus state, Date started,
                           Date updated, std::optional<std::string> summaryText,
                           std::optional<PermissionPrompt> prompt,
                           std::optional<std::string> activityLine, std::optional<Date> turnStarted,
                           std::optional<std::int64_t> done, std::optional<std::int64_t> total)
    : id(std::move(sessionID)),
      provider(agent),
      title(std::move(sessionTitle)),
      workingDirectory(std::move(directory)),
      status(state),
      startedAt(started),
      updatedAt(updated),
      summary(std::move(summaryText)),
      permission(std::move(prompt)),
      activity(std::move(activityLine)),
      turnStartedAt(turnStarted),
      taskDone(done),
      taskTotal(total) {}

std::optional<Date> AgentSession::runningSince() const noexcept {
  return isWorking(status) ? turnStartedAt : std::nullopt;
}

std::optional<TaskProgress> AgentSession::taskProgress() const noexcept {
  if (!taskTotal || *taskTotal < 1) return std::nullopt;
  return TaskProgress(taskDone.value_or(0), *taskTotal);
}

std::optional<std::string> AgentSession::currentActivity() const {
  return isWorking(status) ? unlessEmpty(activity) : std::nullopt;
}

std::optional<std::string> AgentSession::displaySummary() const { return unlessEmpty(summary); }

std::string AgentSession::projectName() const {
  if (!workingDirectory || workingDirectory->empty()) return title;
  return std::string(lastPathComponent(*workingDirectory));
}

}  // namespace idlewyn

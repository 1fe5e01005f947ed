// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/model/AgentProvider.hpp>
#include <IdlewynKit/model/PermissionPrompt.hpp>
#include <IdlewynKit/model/SessionStatus.hpp>

/// One coding-agent session as the relay reports it.
///
///     auto session = JSONDecoder::relay().decode<AgentSession>(data);
///     show(session.projectName(), label(session.status), session.currentActivity());
namespace idlewyn {

/// How far a task list has come. `done` is not clamped to `total`.
struct TaskProgress {
  TaskProgress(std::int64_t done, std::int64_t total) : done(done), total(total) {}

  friend bool operator==(const TaskProgress&, const TaskProgress&) = default;

  std::int64_t done;
  std::int64_t total;
};

/// A plain value: no field is checked against another, any text may be empty.
struct AgentSession {
  IDLEWYNKIT_EXPORT AgentSession(std::string id, AgentProvider provider, std::string title,
                                 std::optional<std::string> workingDirectory, SessionStatus status,
                                 Date startedAt, Date updatedAt, std::optional<std::string> summary,
                                 std::optional<PermissionPrompt> permission,
                                 std::optional<std::string> activity,
                                 std::optional<Date> turnStartedAt,
                                 std::optional<std::int64_t> taskDone,
                                 std::optional<std::int64_t> taskTotal);
  explicit AgentSession(platform::DecodingKey) {}

  friend bool operator==(const AgentSession&, const AgentSession&) = default;

  using IdlewynRecord = AgentSession;
  static constexpr auto fields() {
    using platform::field;
    using S = AgentSession;
    return std::tuple{field("id", &S::id),
                      field("provider", &S::provider),
                      field("title", &S::title),
                      field("workingDirectory", &S::workingDirectory),
                      field("status", &S::status),
                      field("startedAt", &S::startedAt),
                      field("updatedAt", &S::updatedAt),
                      field("summary", &S::summary),
                      field("permission", &S::permission),
                      field("activity", &S::activity),
                      field("turnStartedAt", &S::turnStartedAt),
                      field("taskDone", &S::taskDone),
                      field("taskTotal", &S::taskTotal)};
  }

  /// When the turn began, while working; otherwise empty.
  IDLEWYNKIT_EXPORT std::optional<Date> runningSince() const noexcept;
  /// Present when `taskTotal` is at least 1.
  IDLEWYNKIT_EXPORT std::optional<TaskProgress> taskProgress() const noexcept;
  /// The activity line, while working and not empty.
  IDLEWYNKIT_EXPORT std::optional<std::string> currentActivity() const;
  /// The summary unless it is empty; blanks are kept.
  IDLEWYNKIT_EXPORT std::optional<std::string> displaySummary() const;
  /// The last component of the working directory ("/" for the root), else the title.
  IDLEWYNKIT_EXPORT std::string projectName() const;

  /// The identity.
  std::string id;
  AgentProvider provider{};
  std::string title;
  std::optional<std::string> workingDirectory;
  SessionStatus status{};
  Date startedAt;
  Date updatedAt;
  std::optional<std::string> summary;
  /// The question that the agent waits on.
  std::optional<PermissionPrompt> permission;
  std::optional<std::string> activity;
  std::optional<Date> turnStartedAt;
  std::optional<std::int64_t> taskDone;
  std::optional<std::int64_t> taskTotal;
};

}  // namespace idlewyn

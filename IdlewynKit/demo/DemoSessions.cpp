// SPDX-License-Identifier: MIT
#include <IdlewynKit/demo/DemoSessions.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <string>
#include <string_view>

namespace idlewyn {

namespace {

constexpr double stagger = 47;
constexpr double updateInterval = 20;
constexpr double toolInterval = 12;
constexpr std::int64_t taskTotal = 4;

struct Template {
  std::string_view title;
  std::string_view directory;
  double period;
  std::array<std::string_view, 3> toolLines;
  std::size_t toolCount;

  std::span<const std::string_view> tools() const { return {toolLines.data(), toolCount}; }
};

constexpr std::array<Template, 3> claudeTemplates{{
    {"Refactor auth middleware",
     "~/Developer/api",
     150,
     {"Read: Sources/Auth/Middleware.swift", "Edit: Sources/Auth/Middleware.swift",
      "Bash: swift test"},
     3},
    {"Write widget snapshot tests",
     "~/Developer/Vantor",
     210,
     {"Grep: SnapshotStore", "Write: Tests/WidgetSnapshotTests.swift", "Bash: tuist test"},
     3},
    {"Fix flaky CI job",
     "~/Developer/infra",
     270,
     {"Bash: gh run view --log-failed", "Read: .github/workflows/ci.yml"},
     2},
}};
constexpr std::array<Template, 2> codexTemplates{{
    {"Migrate to Swift 6",
     "~/Developer/ios-app",
     180,
     {"shell: rg -l Sendable", "apply_patch: Sources/Store.swift"},
     2},
    {"Profile image pipeline",
     "~/Developer/media",
     240,
     {"shell: instruments -t 'Time Profiler'", "shell: swift build -c release"},
     2},
}};

std::span<const Template> templatesOf(AgentProvider provider) {
  if (provider == AgentProvider::claude) return claudeTemplates;
  return codexTemplates;
}

// Where a session stands in its cycle.
struct Phase {
  double position;  // seconds, 0 up to the period
  double fraction;
  SessionStatus status;
};

Phase phaseAt(double time, std::size_t index, double period) {
  double position = std::fmod(time + stagger * static_cast<double>(index), period);
  if (position < 0) position += period;
  const double fraction = position / period;
  if (fraction < 0.6) return {position, fraction, SessionStatus::working};
  if (fraction < 0.7) return {position, fraction, SessionStatus::waitingForInput};
  return {position, fraction, SessionStatus::finished};
}

// Counts the periods, so that each waiting phase asks with a new id.
PermissionPrompt prompt(double time, std::size_t index, double period, Date startedAt) {
  const auto round = static_cast<std::int64_t>(std::clamp(time / period, -9.0e18, 9.0e18));
  return PermissionPrompt("demo-claude-" + std::to_string(index) + "-" + std::to_string(round),
                          "Bash", "swift package resolve", startedAt,
                          "Bash(swift package resolve)");
}

std::string activityLine(const Template& pattern, double position) {
  const auto line = static_cast<std::size_t>(position / toolInterval);
  return std::string(pattern.tools()[line % pattern.toolCount]);
}

AgentSession makeSession(AgentProvider provider, std::size_t index, Date at) {
  const Template& pattern = templatesOf(provider)[index];
  const double time = secondsSince1970(at);
  const Phase phase = phaseAt(time, index, pattern.period);
  const Date startedAt = at - platform::DateClock::duration(phase.position);
  const bool waiting = phase.status == SessionStatus::waitingForInput;
  const bool claude = provider == AgentProvider::claude;

  std::optional<std::string> summary, activity;
  std::optional<PermissionPrompt> permission;
  std::optional<std::int64_t> done, total;
  if (waiting) summary = "Allow Bash: swift package resolve?";
  if (waiting && claude) permission = prompt(time, index, pattern.period, startedAt);
  if (isWorking(phase.status)) activity = activityLine(pattern, phase.position);
  if (claude) {
    done = std::min(static_cast<std::int64_t>(phase.fraction * 5), taskTotal);
    total = taskTotal;
  }
  return AgentSession(
      "demo-" + std::string(rawValue(provider)) + "-" + std::to_string(index), provider,
      std::string(pattern.title), std::string(pattern.directory), phase.status, startedAt,
      at - platform::DateClock::duration(std::fmod(phase.position, updateInterval)),
      std::move(summary), std::move(permission), std::move(activity), startedAt, done, total);
}

}  // namespace

std::vector<AgentSession> DemoSessions::sessions(AgentProvider provider, Date at) {
  if (!std::isfinite(secondsSince1970(at))) at = platform::dateFromSecondsSince1970(0);
  std::vector<AgentSession> result;
  for (std::size_t i = 0; i < templatesOf(provider).size(); ++i) {
    result.push_back(makeSession(provider, i, at));
  }
  return result;
}

}  // namespace idlewyn

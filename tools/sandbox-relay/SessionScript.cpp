// SPDX-License-Identifier: MIT
#include "SessionScript.hpp"

#include <array>
#include <cmath>
#include <optional>
#include <span>

namespace idlewyn::sandbox {

/// What a session does for a while.
struct Step {
  SessionStatus status;
  /// 0 lasts until the prompt is answered.
  double seconds;
  /// Tasks done when the step ends.
  std::int64_t tasksDone;
};

/// A session's part in the play. Empty texts leave the field out.
struct Role {
  std::string_view id;
  AgentProvider provider;
  std::string_view title;
  std::string_view workingDirectory;
  std::span<const Step> steps;
  std::span<const std::string_view> activities;
  std::string_view summary;
  std::string_view toolName;
  std::string_view detail;
  std::string_view alwaysRule;
  std::int64_t taskTotal;
  /// Seconds of the first step that have passed when the play begins.
  double leadIn;
  double minutesOld;
};

namespace {

using Seconds = std::chrono::duration<double>;
using enum SessionStatus;

constexpr double activitySeconds = 8;
constexpr Step deniedStep{failed, 30, 0};

constexpr std::array askingSteps{Step{working, 40, 3}, Step{waitingForInput, 0, 3},
                                 Step{working, 35, 6}, Step{finished, 50, 6}};
constexpr std::array quietSteps{Step{working, 25, 0}, Step{finished, 60, 0}};
constexpr std::array failingSteps{Step{working, 50, 4}, Step{failed, 40, 4}};
constexpr std::array idleSteps{Step{idle, 3600, 0}};

constexpr std::array<std::string_view, 4> tidyActivities{
    "Reading the error paths of the parser", "Editing src/parser/recover.cc",
    "Running the parser tests", "Comparing the messages with the manual"};
constexpr std::array<std::string_view, 2> notesActivities{"Collecting merged changes",
                                                          "Writing CHANGELOG.md"};
constexpr std::array<std::string_view, 3> importActivities{"Looking for byte-wise string handling",
                                                           "Editing importer/decode.py",
                                                           "Importing the sample archives"};
constexpr std::array<std::string_view, 2> bisectActivities{"Building the next candidate",
                                                           "Running layout-test 118"};

constexpr std::array<Role, 5> roles{{
    {"tidy-up", AgentProvider::claude, "Tidy up the parser's errors", "/home/robin/src/larkspur",
     askingSteps, tidyActivities, "All 42 parser tests pass; nine messages read better now.",
     "Bash", "make -C build check-parser", "Bash(make -C build check-parser)", 6, 30, 18},
    {"release-notes", AgentProvider::claude, "Write the release notes",
     "/home/robin/src/fieldnotes", quietSteps, notesActivities,
     "Notes for 2.4 are in CHANGELOG.md.", "", "", "", 0, 0, 3},
    {"slow-start",
     AgentProvider::claude,
     "Look into the slow start",
     "",
     idleSteps,
     {},
     "",
     "",
     "",
     "",
     0,
     0,
     95},
    {"import-utf8", AgentProvider::codex, "Teach the importer UTF-8", "/home/robin/src/pantry",
     askingSteps, importActivities, "The importer reads UTF-8; old archives still load.", "shell",
     "pip install --user charset-samples", "", 6, 15, 26},
    {"bisect-layout", AgentProvider::codex, "Bisect the failing layout test",
     "/home/robin/src/trellis", failingSteps, bisectActivities,
     "layout-test 118 fails on every candidate.", "", "", "", 4, 0, 7},
}};

std::optional<std::string> optionalText(std::string_view text) {
  return text.empty() ? std::nullopt : std::optional<std::string>(text);
}

bool isOver(SessionStatus status) { return status == finished || status == failed; }

}  // namespace

SessionScript::SessionScript(Date start) {
  for (const Role& role : roles) {
    const Date begun = start - Seconds(role.leadIn);
    actors_.push_back({&role, start - Seconds(role.minutesOld * 60), begun, begun});
  }
}

std::vector<AgentSession> SessionScript::sessions(Date now) {
  std::vector<AgentSession> described;
  for (Actor& actor : actors_) {
    advance(actor, now);
    described.push_back(describe(actor, now));
  }
  return described;
}

bool SessionScript::decide(std::string_view id, PermissionDecision decision, Date now) {
  for (Actor& actor : actors_) {
    advance(actor, now);
    if (currentStep(actor).status != waitingForInput || promptID(actor) != id) continue;
    if (decision == PermissionDecision::deny) {
      actor.denied = true;
      actor.stepStart = now;
    } else {
      const bool always = decision == PermissionDecision::always;
      actor.alwaysAllowed = always && !actor.role->alwaysRule.empty();
      enterNextStep(actor, now);
    }
    return true;
  }
  return false;
}

const Step& SessionScript::currentStep(const Actor& actor) {
  return actor.denied ? deniedStep : actor.role->steps[actor.step];
}

std::string SessionScript::promptID(const Actor& actor) {
  return std::string(actor.role->id) + '-' + std::to_string(actor.prompts);
}

void SessionScript::advance(Actor& actor, Date now) {
  skipCycles(actor, now);
  while (true) {
    const Step& step = currentStep(actor);
    if (step.status == waitingForInput && !actor.alwaysAllowed) return;
    const Date end = actor.stepStart + Seconds(step.seconds);
    if (now < end) return;
    enterNextStep(actor, end);
  }
}

void SessionScript::enterNextStep(Actor& actor, Date when) {
  actor.step = actor.denied ? 0 : (actor.step + 1) % actor.role->steps.size();
  actor.denied = false;
  actor.stepStart = when;
  if (actor.step == 0) actor.turnStart = when;
  if (currentStep(actor).status == waitingForInput) ++actor.prompts;
}

// Sessions that never stop to ask would make a clock that is stepped by years slow.
void SessionScript::skipCycles(Actor& actor, Date now) {
  double cycle = 0;
  for (const Step& step : actor.role->steps) {
    if (step.status == waitingForInput && !actor.alwaysAllowed) return;
    cycle += step.seconds;
  }
  if (actor.denied || now - actor.stepStart < Seconds(cycle)) return;
  const Seconds skipped(std::floor((now - actor.stepStart).count() / cycle) * cycle);
  actor.stepStart += skipped;
  actor.turnStart += skipped;
}

AgentSession SessionScript::describe(const Actor& actor, Date now) {
  const Role& role = *actor.role;
  const Step& step = currentStep(actor);
  const double elapsed = std::fmax((now - actor.stepStart).count(), 0);
  const double lines = std::floor(elapsed / activitySeconds);

  AgentSession session(std::string(role.id), role.provider, std::string(role.title),
                       optionalText(role.workingDirectory), step.status, actor.startedAt,
                       actor.stepStart, std::nullopt, std::nullopt, std::nullopt, std::nullopt,
                       std::nullopt, std::nullopt);
  if (isOver(step.status)) {
    session.summary = optionalText(actor.denied ? "Stopped: permission was denied." : role.summary);
  }
  if (step.status == waitingForInput) {
    session.permission.emplace(promptID(actor), std::string(role.toolName),
                               std::string(role.detail), actor.stepStart,
                               optionalText(role.alwaysRule));
  }
  if (step.status == working) {
    const auto line = static_cast<std::size_t>(lines) % role.activities.size();
    session.activity = std::string(role.activities[line]);
    session.updatedAt += Seconds(lines * activitySeconds);
  }
  if (step.status != idle) session.turnStartedAt = actor.turnStart;
  if (role.taskTotal > 0) {
    const bool first = actor.step == 0;
    const std::int64_t before = first ? 0 : role.steps[actor.step - 1].tasksDone;
    const std::int64_t after = actor.denied ? before : step.tasksDone;
    const double part = step.seconds > 0 ? std::fmin(elapsed / step.seconds, 1) : 1;
    session.taskDone =
        before + static_cast<std::int64_t>(part * static_cast<double>(after - before));
    session.taskTotal = role.taskTotal;
  }
  return session;
}

}  // namespace idlewyn::sandbox

// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <IdlewynKit/model/AgentSession.hpp>

/// Sessions of both agents that move with the clock, the same way every time. Not thread-safe.
///
///     SessionScript script(start);
///     script.sessions(start + std::chrono::seconds(12));   // "Tidy up" waits with a prompt
///     script.decide("tidy-up-1", PermissionDecision::allow, now);
namespace idlewyn::sandbox {

struct Role;
struct Step;

class SessionScript {
 public:
  explicit SessionScript(Date start);

  /// How the sessions stand. A `now` before an earlier one changes nothing.
  std::vector<AgentSession> sessions(Date now);

  /// Allowing goes on with the work, "always" also keeps the session from asking again; denying
  /// fails the turn. False when no session waits with that prompt.
  bool decide(std::string_view promptID, PermissionDecision decision, Date now);

 private:
  struct Actor {
    const Role* role;
    Date startedAt;
    Date turnStart;
    Date stepStart;
    std::size_t step = 0;
    int prompts = 0;
    bool denied = false;
    bool alwaysAllowed = false;
  };

  static const Step& currentStep(const Actor& actor);
  static std::string promptID(const Actor& actor);
  static void advance(Actor& actor, Date now);
  static void enterNextStep(Actor& actor, Date when);
  static void skipCycles(Actor& actor, Date now);
  static AgentSession describe(const Actor& actor, Date now);

  std::vector<Actor> actors_;
};

}  // namespace idlewyn::sandbox

// SPDX-License-Identifier: MIT
#include "Doctor.hpp"
#include "NotifierModule.hpp"

namespace idlewyn::command {

std::vector<Check> examineStores(Surroundings& with) {
  try {
    const std::size_t count = with.connections().load().size();
    if (count > 0) {
      return {Check(
          "pairings", CheckState::ok,
          std::to_string(count) + (count == 1 ? " agent is paired." : " agents are paired."))};
    }
    return {Check("pairings", CheckState::warning, "No agent is paired.",
                  "Pair one with the link that its relay shows: idlewyn pair - --agent claude.")};
  } catch (const Failure& failure) {
    return {Check("pairings", CheckState::failed, failure.message,
                  "Nothing is changed while it can't be read.")};
  }
}

Check examineNotifications(Relays& relays) {
  try {
    const auto notifier = loadNotifier();
    while (notifier->state() == NotifierState::connecting)
      relays.pause(std::chrono::milliseconds(20));
    if (notifier->state() == NotifierState::ready) {
      return {"notifications", CheckState::ok,
              "They are shown by " + notifier->description() + "."};
    }
    return {"notifications", CheckState::warning, notifier->description(),
            "Only watch --notify needs one; a desktop brings it along."};
  } catch (const Failure& failure) {
    if (failure.code == ExitCode::interrupted) throw;
    return {"notifications", CheckState::warning, failure.message, "Only watch --notify needs it."};
  }
}

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/secrets/KeychainPlace.hpp>
#include <IdlewynKit/storage/AppGroup.hpp>
#include <IdlewynKit/storage/SnapshotStore.hpp>

#include "Doctor.hpp"
#include "Escape.hpp"
#include "NotifierModule.hpp"
#include "SessionReport.hpp"

namespace idlewyn::command {

namespace {

Check examineKeychain() {
  const platform::KeychainLocation location = platform::where();
  if (location.place == platform::KeychainPlace::memory) {
    return {"keychain", CheckState::warning, escaped(location.description),
            "Pairings end with the process; unset IDLEWYN_KEYCHAIN to keep them."};
  }
  const bool isUnknown = location.reason == platform::KeychainReason::unknownWord ||
                         location.reason == platform::KeychainReason::unreadableRecord;
  if (isUnknown) {
    return {"keychain", CheckState::failed, escaped(location.description),
            "Set IDLEWYN_KEYCHAIN to secret-service or file, or mend what it names."};
  }
  return {"keychain", CheckState::ok, escaped(location.description)};
}

Check examinePairings(Surroundings& with) {
  try {
    const std::size_t count = with.connections().load().size();
    if (count > 0) {
      return {"pairings", CheckState::ok,
              std::to_string(count) + (count == 1 ? " agent is paired." : " agents are paired.")};
    }
    return {"pairings", CheckState::warning, "No agent is paired.",
            "Pair one with the link that its relay shows: idlewyn pair - --agent claude."};
  } catch (const Failure& failure) {
    return {"pairings", CheckState::failed, failure.message,
            "Nothing is changed while it can't be read. A locked keyring opens with the desktop's "
            "session."};
  }
}

// Written and taken out again, under a key of its own.
Check examineSharedStore() {
  auto suite = UserDefaults::suite(AppGroup::identifier);
  if (!suite) {
    return {"snapshot", CheckState::failed, "The shared store can't be opened.",
            "Look at who owns the data directory; until then each program sees its own sessions."};
  }
  const bool isWritable = suite->set("doctor", true) && suite->remove("doctor");
  if (!isWritable) {
    return {"snapshot", CheckState::failed, "The shared store can't be written.",
            "Look at free space and at who owns the data directory."};
  }
  const SessionSnapshot last = SnapshotStore::shared().load();
  if (last == SessionSnapshot::empty()) {
    return {"snapshot", CheckState::ok, "It is empty: no session was ever seen."};
  }
  return {"snapshot", CheckState::ok,
          std::to_string(last.sessions.size()) + " sessions were last seen " +
              elapsedText((DateClock::now() - last.updatedAt).count()) + " ago."};
}

}  // namespace

std::vector<Check> examineStores(Surroundings& with) {
  return {examineKeychain(), examinePairings(with), examineSharedStore()};
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

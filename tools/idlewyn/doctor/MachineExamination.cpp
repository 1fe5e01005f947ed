// SPDX-License-Identifier: MIT
#include <filesystem>

#include <IdlewynKit/platform/secrets/KeychainPlace.hpp>
#include <IdlewynKit/platform/text/DisplayText.hpp>
#include <IdlewynKit/storage/AppGroup.hpp>
#include <IdlewynKit/storage/SnapshotStore.hpp>

#include <tools/idlewyn/doctor/Doctor.hpp>
#include <tools/idlewyn/notify/NotifierModule.hpp>
#include <tools/idlewyn/pairings/KeychainTrouble.hpp>
#include <tools/idlewyn/sessions/SessionReport.hpp>

namespace idlewyn::command {
namespace {

namespace fs = std::filesystem;

Check failed(const char* name, const KeychainTrouble& trouble) {
  return {name, CheckState::failed, trouble.message, trouble.remedy};
}

Check examineKeychain() {
  const platform::KeychainLocation location = platform::keychainLocation();
  if (const auto trouble = keychainTrouble()) return failed("keychain", *trouble);
  // Also where the Secret Service keeps the items: each change of them takes a lock in there.
  if (const auto trouble = folderTrouble(location.directory.native())) {
    return failed("keychain", *trouble);
  }
  if (location.place == platform::KeychainPlace::memory) {
    return {"keychain", CheckState::warning, displayLine(location.description),
            "Pairings end with the process; unset IDLEWYN_KEYCHAIN to keep them."};
  }
  return {"keychain", CheckState::ok, displayLine(location.description)};
}

// Somebody who names an agent takes it for paired.
Check notPaired(std::optional<AgentProvider> agent) {
  const std::string advice = "Pair " + std::string(agent ? "it" : "one") +
                             " with the link that its relay shows: idlewyn pair - --agent " +
                             std::string(rawValue(agent.value_or(AgentProvider::claude))) + ".";
  if (!agent) return {"pairings", CheckState::warning, "No agent is paired.", advice};
  return {"pairings", CheckState::failed, std::string(displayName(*agent)) + " is not paired.",
          advice};
}

// Those that are paired are left in `connections`.
Check examinePairings(std::optional<AgentProvider> agent,
                      const std::function<ConnectionList&()>& open,
                      std::vector<Connection>& connections) {
  try {
    connections = open().paired(agent);
    std::string names;
    for (const Connection& connection : connections)
      names += (names.empty() ? "" : ", ") + std::string(displayName(connection.provider));
    return {"pairings", CheckState::ok, "Paired: " + names + "."};
  } catch (const Failure& failure) {
    if (failure.kind == "notPaired") return notPaired(agent);
    const bool isKeyring =
        platform::keychainLocation().place == platform::KeychainPlace::secretService;
    return {"pairings", CheckState::failed, failure.message,
            isKeyring ? "Nothing is changed while it can't be read. A locked keyring opens with "
                        "the desktop's session."
                      : "Nothing is changed while it can't be read."};
  }
}

constexpr const char* nothingSeen = "It is empty: no session was ever seen.";

// Written and taken out again, under a key of its own; but a look makes no store.
Check examineSharedStore() {
  const fs::path folder = platform::keychainLocation().directory.parent_path() / "defaults";
  std::error_code error;
  if (!fs::exists(folder / (std::string(AppGroup::identifier) + ".sqlite3"), error)) {
    if (const auto trouble = folderTrouble(folder.native())) return failed("snapshot", *trouble);
    return {"snapshot", CheckState::ok, nothingSeen};
  }
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
    return {"snapshot", CheckState::ok, nothingSeen};
  }
  return {"snapshot", CheckState::ok,
          std::to_string(last.sessions.size()) + " sessions were last seen " +
              elapsedText((DateClock::now() - last.updatedAt).count()) + " ago."};
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

}  // namespace

MachineExamination examineMachine(std::optional<AgentProvider> agent,
                                  const std::function<ConnectionList&()>& open, Relays& relays) {
  MachineExamination result;
  result.checks.push_back(examineKeychain());
  result.checks.push_back(examinePairings(agent, open, result.connections));
  result.checks.push_back(examineSharedStore());
  result.checks.push_back(examineNotifications(relays));
  return result;
}

}  // namespace idlewyn::command

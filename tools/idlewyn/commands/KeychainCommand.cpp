// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/secrets/KeychainPlace.hpp>
#include <IdlewynKit/platform/text/DisplayText.hpp>
#include <IdlewynKit/storage/KeychainError.hpp>

#include <tools/idlewyn/commands/Commands.hpp>
#include <tools/idlewyn/pairings/KeychainTrouble.hpp>
#include <tools/idlewyn/records/StorageRecords.hpp>

namespace idlewyn::command {
namespace {

// What keeps every move from being made.
void expectMovable(platform::KeychainPlace to) {
  if (const auto trouble = keychainTrouble()) {
    throw Failure(ExitCode::failure, "storage",
                  "The keychain was not moved: " + trouble->message + " " + trouble->remedy);
  }
  const platform::KeychainLocation location = platform::keychainLocation();
  if (location.reason != platform::KeychainReason::environment || location.place == to) return;
  throw Failure(ExitCode::failure, "storage",
                "The keychain was not moved, because IDLEWYN_KEYCHAIN says " +
                    std::string(rawValue(*location.place)) + ": unset it for this.");
}

Failure moveFailure(platform::KeychainStatus::Code status) {
  std::string message = "The keychain was not moved: " + KeychainError(status).errorDescription();
  // It is not the one in use, which could be told before.
  if (status == platform::KeychainStatus::invalidKeychain) {
    message += " Rename keychain.sqlite3 in " +
               displayLine(platform::keychainLocation().directory.native()) + ".";
  }
  return {ExitCode::failure, "storage",
          message + " Nothing is lost; the same command goes on where it stopped."};
}

KeychainRecord recordOf(const platform::KeychainLocation& location) {
  KeychainRecord record(location);
  if (const auto trouble = keychainTrouble()) {
    record.problem = trouble->message;
    record.remedy = trouble->remedy;
  }
  return record;
}

}  // namespace

ExitCode runKeychainWhere(const Arguments&, Surroundings& with) {
  const platform::KeychainLocation location = platform::keychainLocation();
  if (with.output.isJSON) {
    with.output.json(recordOf(location));
  } else {
    const std::string description = displayLine(location.description);
    with.output.line(description);
    if (const auto trouble = keychainTrouble()) {
      if (trouble->message != description) with.output.line(trouble->message);
      with.output.line(trouble->remedy);
    }
  }
  return ExitCode::ok;
}

ExitCode runKeychainMove(const Arguments& given, Surroundings& with) {
  const auto to = platform::fromRawValue<platform::KeychainPlace>(given.text("place"));
  // Nobody pairs meanwhile: the new connection could not be saved before the move has ended.
  const auto hold = with.connections().exclude();
  expectMovable(*to);
  const platform::KeychainMove move = platform::moveKeychain(*to);
  if (move.status != platform::KeychainStatus::success) throw moveFailure(move.status);
  if (with.output.isJSON) {
    with.output.json(recordOf(platform::keychainLocation()));
    return ExitCode::ok;
  }
  with.output.line("Moved: " + std::to_string(move.copied) +
                   (move.copied == 1 ? " item." : " items."));
  if (move.kept > 0) {
    with.output.line(std::to_string(move.kept) + " had a newer value there, which was kept.");
  }
  if (move.left > 0) with.output.line(std::to_string(move.left) + " stay in the old place.");
  with.output.line(displayLine(platform::keychainLocation().description));
  return ExitCode::ok;
}

}  // namespace idlewyn::command

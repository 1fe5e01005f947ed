// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/secrets/KeychainPlace.hpp>
#include <IdlewynKit/storage/KeychainError.hpp>

#include "Commands.hpp"
#include "Escape.hpp"
#include "StorageRecords.hpp"

namespace idlewyn::command {

ExitCode runKeychainWhere(const Arguments&, Surroundings& with) {
  const platform::KeychainLocation location = platform::where();
  if (with.output.isJSON) {
    with.output.json(KeychainRecord(location));
  } else {
    with.output.line(escaped(location.description));
  }
  return ExitCode::ok;
}

ExitCode runKeychainMove(const Arguments& given, Surroundings& with) {
  const auto to = platform::fromRawValue<platform::KeychainPlace>(given.text("place"));
  // Nobody pairs meanwhile: the new connection could not be saved before the move has ended.
  const auto hold = with.connections().exclude();
  const platform::KeychainMove move = platform::moveKeychain(*to);
  if (move.status != platform::KeychainStatus::success) {
    throw Failure(ExitCode::failure, "storage",
                  "The keychain was not moved: " + KeychainError(move.status).errorDescription() +
                      " Nothing is lost; the same command goes on where it stopped.");
  }
  if (with.output.isJSON) {
    with.output.json(KeychainRecord(platform::where()));
    return ExitCode::ok;
  }
  with.output.line("Moved: " + std::to_string(move.copied) +
                   (move.copied == 1 ? " item." : " items."));
  if (move.kept > 0) {
    with.output.line(std::to_string(move.kept) + " had a newer value there, which was kept.");
  }
  if (move.left > 0) with.output.line(std::to_string(move.left) + " stay in the old place.");
  with.output.line(escaped(platform::where().description));
  return ExitCode::ok;
}

}  // namespace idlewyn::command

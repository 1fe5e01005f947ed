// SPDX-License-Identifier: MIT
#include <algorithm>

#include <IdlewynKit/platform/text/DisplayText.hpp>
#include <IdlewynKit/relay/RelayError.hpp>

#include <tools/idlewyn/commands/Commands.hpp>
#include <tools/idlewyn/records/Records.hpp>
#include <tools/idlewyn/sessions/SharedSnapshot.hpp>

namespace idlewyn::command {
namespace {

// False when the relay had forgotten the token already.
bool tellRelay(const Connection& connection, Surroundings& with) {
  try {
    with.relays.unpair(connection);
    return true;
  } catch (const RelayError& error) {
    if (error != RelayError::unauthorized()) throw;
    return false;
  }
}

ExitCode setDamagedAside(Surroundings& with) {
  const SetAside aside = with.connections().setDamagedAside();
  if (with.output.isJSON) with.output.json(aside);
  with.output.line("What was damaged is set aside as " +
                   (aside.file ? displayLine(*aside.file) : *aside.item + " in the keychain") +
                   "; no agent is paired now.");
  return ExitCode::ok;
}

}  // namespace

ExitCode runUnpair(const Arguments& given, Surroundings& with) {
  if (given.has("--damaged")) return setDamagedAside(with);
  const bool forget = given.has("--forget");
  const Connection connection = with.connections().onlyOne(given.agent());
  with.relays.listen();
  with.connections().prepare();  // a list that can't be changed would keep a dead token
  bool wasKnown = true;
  try {
    if (!forget) wasKnown = tellRelay(connection, with);
  } catch (...) {
    Failure failure = describe(std::current_exception());
    if (failure.code != ExitCode::interrupted) {
      failure.message += " The pairing is kept; --forget drops it without telling the relay.";
    }
    throw failure;
  }
  bool isOneLeft = false;
  with.connections().update([&](std::vector<Connection>& connections) {
    // Only the one that was unpaired: meanwhile another process may have paired anew.
    std::erase(connections, connection);
    isOneLeft = std::ranges::find(connections, connection.provider, &Connection::provider) !=
                connections.end();
  });
  if (!isOneLeft) forgetSessions(connection.provider);
  if (with.output.isJSON) with.output.json(ConnectionRecord(connection, false, false));
  if (isOneLeft) {
    with.output.line("Ended; another pairing of " + std::string(displayName(connection.provider)) +
                     " is listed and now counts.");
  } else {
    with.output.line(std::string(displayName(connection.provider)) + " is no longer paired.");
  }
  if (!wasKnown) with.output.note("The relay did not know the token any more.");
  if (forget) with.output.note("The relay was not told; its token still works.");
  return ExitCode::ok;
}

}  // namespace idlewyn::command

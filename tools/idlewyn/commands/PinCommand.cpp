// SPDX-License-Identifier: MIT
#include <algorithm>

#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <tools/idlewyn/commands/Commands.hpp>
#include <tools/idlewyn/records/Records.hpp>
#include <tools/idlewyn/relays/CertificateProbe.hpp>
#include <tools/idlewyn/relays/Confirmation.hpp>
#include <tools/idlewyn/relays/Fingerprint.hpp>
#include <tools/idlewyn/sessions/SessionReport.hpp>

namespace idlewyn::command {
namespace {

using Errors = std::map<AgentProvider, std::exception_ptr>;

std::string placeOf(const Connection& connection) {
  std::string text(displayName(connection.provider));
  if (connection.serverURL)
    text += ", " + displayLine(connection.serverURL->withoutUserInfo().text());
  return text;
}

void show(const Connection& connection, std::string_view remark, Output& output) {
  output.line(placeOf(connection) + (remark.empty() ? "" : ": " + std::string(remark)));
  if (!connection.certificatePin) return;
  for (const std::string& line : fingerprintLines(*connection.certificatePin))
    output.line("  " + line);
}

bool isPinned(const Connection& connection) {
  return connection.certificatePin && connection.serverURL;
}

constexpr std::string_view notPinned = "no certificate is pinned, for nothing is encrypted";

// What the relay shows, when that is the pinned certificate.
std::string verifiedFingerprint(const Connection& connection, Relays& relays) {
  const std::string seen =
      CertificatePin::fingerprint(probeCertificate(*connection.serverURL, relays));
  if (seen != *connection.certificatePin) {
    throw mismatchFailure(connection.provider, *connection.certificatePin, seen);
  }
  return seen;
}

void verify(const Connection& connection, PinRecord& record, Errors& errors, Surroundings& with) {
  if (!isPinned(connection)) return show(connection, notPinned, with.output);
  try {
    record.seenFingerprint = verifiedFingerprint(connection, with.relays);
    show(connection, "the relay shows the pinned certificate", with.output);
  } catch (...) {
    const Failure failure = describe(std::current_exception());
    if (failure.code == ExitCode::interrupted) throw;
    record.seenFingerprint = failure.seenFingerprint;
    errors[connection.provider] = std::current_exception();
  }
}

std::string askForFingerprint(const Connection& connection, Surroundings& with) {
  auto terminal = with.output.isJSON ? std::nullopt : Terminal::open();
  if (!terminal) {
    throw usageFailure(with.output.isJSON ? "With --json nothing is asked; give it with --pin."
                                          : "There is no terminal to ask on; give it with --pin.");
  }
  const auto answer = terminal->ask(
      "The new fingerprint of " + placeOf(connection) + ", as the relay itself shows it:\n",
      with.relays);
  if (!answer || answer->empty()) {
    throw Failure(ExitCode::failure, "notConfirmed", "Nothing was given; the pin is as it was.");
  }
  return *answer;
}

// The relay must show the certificate that the user vouches for.
void confirmShown(const std::string& wanted, const Connection& connection, Relays& relays) {
  const std::string seen =
      CertificatePin::fingerprint(probeCertificate(*connection.serverURL, relays));
  if (seen == wanted) return;
  Failure failure = mismatchFailure(connection.provider, wanted, seen);
  failure.message =
      "The relay does not show the certificate of that fingerprint. The pin is as it "
      "was.";
  failure.details = {"  given:"};
  for (const std::string& line : fingerprintLines(wanted))
    failure.details.push_back("    " + line);
  failure.details.emplace_back("  seen:");
  for (const std::string& line : fingerprintLines(seen))
    failure.details.push_back("    " + line);
  throw failure;
}

}  // namespace

ExitCode runPinShow(const Arguments& given, Surroundings& with) {
  PinListRecord list;
  for (const Connection& connection : with.connections().paired(given.agent())) {
    list.pins.emplace_back(connection);
    show(connection, isPinned(connection) ? "" : notPinned, with.output);
  }
  if (with.output.isJSON) with.output.json(list);
  return ExitCode::ok;
}

ExitCode runPinVerify(const Arguments& given, Surroundings& with) {
  const auto connections = with.connections().paired(given.agent());
  PinListRecord list;
  Errors errors;
  for (const Connection& connection : connections)
    verify(connection, list.pins.emplace_back(connection), errors, with);
  list.errors = errorRecords(errors);
  if (!errors.empty()) with.output.line(errorReport(errors, with.output.style));
  if (with.output.isJSON) with.output.json(list);
  return exitCodeOf(errors, connections.size());
}

ExitCode runPinReplace(const Arguments& given, Surroundings& with) {
  const Connection connection = with.connections().onlyOne(given.agent());
  if (!isPinned(connection)) {
    throw Failure(ExitCode::failure, "notPinned",
                  placeOf(connection) + ": " + std::string(notPinned) + ".");
  }
  with.relays.listen();
  const std::string wanted = parseFingerprint(
      given.has("--pin") ? given.text("--pin") : askForFingerprint(connection, with));
  confirmShown(wanted, connection, with.relays);
  Connection changed = connection;
  changed.certificatePin = wanted;
  with.connections().update([&](std::vector<Connection>& connections) {
    // Only the one that was looked at: meanwhile another process may have paired anew.
    if (std::ranges::find(connections, connection) == connections.end()) {
      throw Failure(ExitCode::failure, "notPaired",
                    "Meanwhile the pairing has changed; look again.");
    }
    std::ranges::replace(connections, connection, changed);
  });
  PinListRecord list;
  list.pins.emplace_back(changed).seenFingerprint = wanted;
  show(changed, "from now on only this certificate is accepted", with.output);
  if (with.output.isJSON) with.output.json(list);
  return ExitCode::ok;
}

}  // namespace idlewyn::command

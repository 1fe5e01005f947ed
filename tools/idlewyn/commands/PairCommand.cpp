// SPDX-License-Identifier: MIT
#include <iostream>
#include <string>

#include <unistd.h>

#include <IdlewynKit/platform/text/DisplayText.hpp>
#include <IdlewynKit/relay/PairingLink.hpp>

#include <tools/idlewyn/commands/Commands.hpp>
#include <tools/idlewyn/records/Records.hpp>
#include <tools/idlewyn/relays/CertificateProbe.hpp>
#include <tools/idlewyn/relays/Confirmation.hpp>
#include <tools/idlewyn/relays/Fingerprint.hpp>
#include <tools/idlewyn/relays/RelayAddress.hpp>

namespace idlewyn::command {
namespace {

// From standard input, so that a secret need not stand among the processes or in a history.
// The question is shown with --json too: who reads what comes out is not who types.
std::string readSecret(const char* question, Relays& relays) {
  if (isatty(STDIN_FILENO) == 1) std::cerr << question << std::flush;
  return readLine(STDIN_FILENO, relays).value_or("");
}

PairingLink parseLink(const std::string& given, Relays& relays) {
  const auto url = URL::parse(given == "-" ? readSecret("Pairing link: ", relays) : given);
  auto link = url ? PairingLink::parse(*url) : std::nullopt;
  // Never with the text: it holds the code.
  if (!link) throw usageFailure("That is not a complete pairing link.");
  return *std::move(link);
}

PairingLink parseAddress(const Arguments& given) {
  if (!given.has("--address")) {
    throw usageFailure("Give a pairing link, or --address and --code.");
  }
  const URL url = parseRelayAddress(given.text("--address"));
  std::optional<std::string> pin;
  if (given.has("--pin")) pin = parseFingerprint(given.text("--pin"));
  if (pin && url.lowercasedScheme() == "http")
    throw usageFailure("Over http there is no certificate to pin.");
  const std::string code = given.text("--code");
  if (code.empty()) throw usageFailure("The pairing code is empty.");
  return PairingLink(url, code, std::move(pin));
}

// After this, and only then, the code may be sent.
void establishTrust(PairingLink& link, const Arguments& given, Surroundings& with) {
  if (link.serverURL.lowercasedScheme() == "http") {
    with.output.note(
        "Note: over http nothing is encrypted; everybody on the way can read the token.");
    return;
  }
  if (link.certificatePin || given.has("--accept-new")) return;
  auto terminal = with.output.isJSON ? std::nullopt : Terminal::open();
  if (!terminal) {
    throw usageFailure(
        (with.output.isJSON ? std::string("With --json nothing is asked")
                            : std::string("There is no terminal to ask on")) +
        ", so whether the relay's certificate is the right one must be told: give its fingerprint "
        "with --pin, or --accept-new to trust whatever comes first.");
  }
  const std::string seen =
      CertificatePin::fingerprint(probeCertificate(link.serverURL, with.relays));
  confirmFingerprint(*terminal, seen, with.relays);
  link.certificatePin = seen;
}

// The token that nobody needs any more. The pairing stands whatever comes of it.
void revoke(const Connection& old, Surroundings& with) {
  if (old.isDemo()) return;
  try {
    with.relays.unpair(old);
  } catch (...) {
    const Failure failure = describe(std::current_exception());
    if (failure.code == ExitCode::interrupted) throw failure;
    if (failure.code == ExitCode::unauthorized) return;  // it is forgotten already
    with.output.note("The token of the earlier pairing could not be revoked: " + failure.message);
  }
}

// The connection could not be saved: a token that nobody has must not live on.
[[noreturn]] void giveUp(const Connection& connection, Surroundings& with) {
  Failure failure = describe(std::current_exception());
  try {
    with.relays.unpair(connection);
    failure.message += " The relay has ended the new pairing again.";
  } catch (...) {
    failure.message += " The relay keeps the new pairing, which is of no use to anybody.";
  }
  throw failure;
}

// What it replaced.
std::vector<Connection> save(const Connection& connection, Surroundings& with) {
  std::vector<Connection> replaced;
  try {
    with.connections().update([&](std::vector<Connection>& connections) {
      std::erase_if(connections, [&](const Connection& old) {
        if (old.provider != connection.provider) return false;
        replaced.push_back(old);
        return true;
      });
      connections.push_back(connection);
    });
  } catch (...) {
    giveUp(connection, with);
  }
  return replaced;
}

void report(const Connection& connection, bool wasReplaced, bool trustedOnFirstUse,
            Output& output) {
  if (output.isJSON) {
    output.json(ConnectionRecord(connection, wasReplaced, trustedOnFirstUse));
    return;
  }
  output.line(std::string(displayName(connection.provider)) + " is paired with " +
              displayLine(connection.serverURL->withoutUserInfo().text()) + " as " +
              displayLine(connection.accountName) + ".");
  if (wasReplaced) output.line("This replaces the pairing that it had.");
  if (trustedOnFirstUse) {
    output.line("Trusted on first use: from now on only this certificate is accepted. Compare its");
    output.line("fingerprint with the relay's:");
    for (const std::string& line : fingerprintLines(*connection.certificatePin)) {
      output.line("  " + line);
    }
  }
}

}  // namespace

ExitCode runPair(const Arguments& given, Surroundings& with) {
  const auto agent = given.agent();
  if (!agent) throw usageFailure("A pairing is for one agent; name it with --agent.");
  with.relays.listen();
  PairingLink link =
      given.has("link") ? parseLink(given.text("link"), with.relays) : parseAddress(given);
  with.connections().prepare();  // a list that can't be changed must not cost the code
  establishTrust(link, given, with);
  if (given.text("--code") == "-") link.code = readSecret("Pairing code: ", with.relays);
  if (link.code.empty()) throw usageFailure("The pairing code is empty.");
  const Connection connection =
      with.relays.pair(*agent, link.serverURL, link.code, link.certificatePin);
  const std::vector<Connection> replaced = save(connection, with);
  report(connection, !replaced.empty(), !link.certificatePin && connection.certificatePin,
         with.output);
  for (const Connection& old : replaced)
    revoke(old, with);
  return ExitCode::ok;
}

}  // namespace idlewyn::command

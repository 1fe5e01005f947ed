// SPDX-License-Identifier: MIT
#include <iostream>
#include <string>

#include <IdlewynKit/platform/text/Unicode.hpp>
#include <IdlewynKit/relay/PairingLink.hpp>

#include "Commands.hpp"
#include "Escape.hpp"
#include "Fingerprint.hpp"
#include "Records.hpp"

namespace idlewyn::command {
namespace {

// From standard input, so that a secret need not stand among the processes or in a history.
std::string readLine() {
  std::string line;
  std::getline(std::cin, line);
  if (line.ends_with('\r')) line.pop_back();
  return std::string(platform::trimmingSpaces(line));
}

PairingLink parseLink(const std::string& given) {
  const auto url = URL::parse(given == "-" ? readLine() : given);
  auto link = url ? PairingLink::parse(*url) : std::nullopt;
  // Never with the text: it holds the code.
  if (!link) throw usageFailure("That is not a complete pairing link.");
  return *std::move(link);
}

PairingLink parseAddress(const PairOptions& options) {
  if (options.address.empty()) {
    throw usageFailure("Give a pairing link, or --address and --code.");
  }
  const auto url = URL::parse(options.address);
  const std::string scheme = url ? url->lowercasedScheme() : std::string();
  if ((scheme != "https" && scheme != "http") || url->host().value_or("").empty()) {
    throw usageFailure("The address must be http or https with a host.");
  }
  std::string code = options.code == "-" ? readLine() : options.code;
  if (code.empty()) throw usageFailure("The pairing code is empty.");
  return PairingLink(*url, std::move(code), std::nullopt);
}

void report(const Connection& connection, bool wasReplaced, bool trustedOnFirstUse,
            Output& output) {
  if (output.isJSON) {
    output.json(ConnectionRecord(connection, wasReplaced, trustedOnFirstUse));
    return;
  }
  output.line(std::string(displayName(connection.provider)) + " is paired with " +
              escaped(connection.serverURL->withoutUserInfo().text()) + " as " +
              escaped(connection.accountName) + ".");
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

std::vector<std::string> fingerprintLines(std::string_view fingerprint) {
  constexpr std::size_t group = 4, line = 32;
  std::vector<std::string> lines;
  for (std::size_t i = 0; i < fingerprint.size(); i += group) {
    if (i % line == 0) {
      lines.emplace_back();
    } else {
      lines.back() += ' ';
    }
    lines.back() += fingerprint.substr(i, group);
  }
  return lines;
}

ExitCode runPair(const PairOptions& options, Surroundings& with) {
  if (!options.agent) throw usageFailure("A pairing is for one agent; name it with --agent.");
  const PairingLink link = options.link.empty() ? parseAddress(options) : parseLink(options.link);
  with.relays.listen();
  with.connections.prepare();  // a list that can't be changed must not cost the code
  if (link.serverURL.lowercasedScheme() == "http") {
    with.output.note("Note: over http everybody on the way can read the token.");
  }
  const Connection connection =
      with.relays.pair(*options.agent, link.serverURL, link.code, link.certificatePin);
  bool wasReplaced = false;
  with.connections.update([&](std::vector<Connection>& connections) {
    const auto isSame = [&](const Connection& c) { return c.provider == connection.provider; };
    wasReplaced = std::erase_if(connections, isSame) > 0;
    connections.push_back(connection);
  });
  report(connection, wasReplaced, !link.certificatePin && connection.certificatePin, with.output);
  return ExitCode::ok;
}

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <IdlewynKit/relay/PairingLink.hpp>
#include <IdlewynKit/relay/SessionService.hpp>

/// Pairing as the window does it: a text becomes an offer, a person looks at the offer, and only
/// then is the code sent. Everything here is for GTK's thread, where the callbacks run too.
///
///     auto link = readOffer(text, code);                       // throws what is wrong with it
///     lookAt(*link, [](PairingLink seen, std::string error) { ... });
///     pairAll(link, [](PairingOutcome outcome) { ... });
namespace dashboard {

/// A pairing link, or a relay's address with a code. Throws a command::Failure with a sentence for
/// people, which never quotes the code.
idlewyn::PairingLink readOffer(const std::string& text, const std::string& code);

/// True for the text of a link, which has its code in it.
bool isPairingLink(const std::string& text);

/// Gives the link with the fingerprint of the certificate that the relay shows, unless it has one
/// already or goes over http. Neither the code nor a token is sent. On failure `error` is a
/// sentence.
using Looked = std::function<void(idlewyn::PairingLink link, std::string error)>;
void lookAt(idlewyn::PairingLink link, Looked looked);

struct PairingOutcome {
  /// Of the agents that are paired now.
  std::vector<std::string> paired;
  /// A sentence for each agent that is not.
  std::vector<std::string> failures;
};

/// Pairs every agent of that relay and saves the connections in the keychain. What they replace is
/// revoked at its relay.
void pairAll(idlewyn::PairingLink link, std::function<void(PairingOutcome)> done);

/// The paired agents. Throws a command::Failure when they can't be read.
std::vector<idlewyn::Connection> pairedAgents();

}  // namespace dashboard

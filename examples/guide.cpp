// SPDX-License-Identifier: MIT
// What docs/guide.md explains step by step: pair once, then fetch, answer and remember.
//
//     guide 'idlewyn://pair?url=...'     the first time
//     guide                              from then on
#include <algorithm>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <string>

#include <IdlewynKit/IdlewynKit.hpp>

using namespace idlewyn;

namespace {

// region pair
Connection pairWith(const SessionService& service, const std::string& text) {
  const std::optional<URL> url = URL::parse(text);
  const std::optional<PairingLink> link = url ? PairingLink::parse(*url) : std::nullopt;
  if (!link) throw std::invalid_argument("That is no pairing link.");
  return wait(
      service.pair(AgentProvider::claude, link->serverURL, link->code, link->certificatePin));
}
// end region

// region margin
// An agent wrote it. No line of it can pass for one of ours behind the margin.
std::string behindMargin(const std::string& text) {
  std::string shown = "| " + displayBlock(text);
  for (std::size_t at = 0; (at = shown.find('\n', at)) != std::string::npos; at += 3)
    shown.insert(at + 1, "| ");
  return shown;
}
// end region

// region fetch
SnapshotResult fetch(const LiveSessionService& service, const std::vector<Connection>& connections,
                     const SessionSnapshot& previous) {
  SnapshotResult result = wait(service.snapshot(connections, previous));
  std::cout << SnapshotLead(result.snapshot).summary() << "\n";
  for (const AgentSession& session : result.snapshot.sorted()) {
    std::cout << label(session.status) << "  " << displayLine(session.title) << "\n";
  }
  for (const auto& [provider, error] : result.errors) {
    std::cerr << displayName(provider) << ": " << errorDescription(error) << "\n";
  }
  return result;
}
// end region

// region transitions
void tellNews(const SessionSnapshot& previous, const SessionSnapshot& current) {
  for (const SessionTransition& news : SessionTransition::detect(previous, current)) {
    std::cout << displayLine(news.session.title) << " now: " << label(news.session.status) << "\n";
  }
}
// end region

// region ask
// Nothing for "not now": the prompt stays open.
std::optional<PermissionDecision> askOnTerminal(const PermissionPrompt& prompt) {
  std::cout << displayLine(prompt.toolName) << ":\n"
            << behindMargin(prompt.detail) << "\n[y]es once, [n]o? ";
  std::string line;
  std::getline(std::cin, line);
  if (line == "y") return PermissionDecision::allow;
  if (line == "n") return PermissionDecision::deny;
  return std::nullopt;
}
// end region

// region answer
bool answer(const SessionService& service, const PermissionPrompt& prompt,
            PermissionDecision decision, const Connection& connection) {
  try {
    wait(service.decide(decision, prompt.id, connection));
    return true;
  } catch (const RelayError& error) {
    if (error != RelayError::promptExpired()) throw;
    return false;  // answered elsewhere meanwhile: fetch again, and never send it twice
  }
}
// end region

// region store
void remember(const Connection& paired) {
  const ConnectionStore& store = ConnectionStore::shared();
  store.keychain.data("connections");  // throws where `load` would give an empty list
  std::vector<Connection> connections = store.load();
  std::erase_if(connections, [&](const Connection& c) { return c.provider == paired.provider; });
  connections.push_back(paired);
  store.save(connections);
}
// end region

// region refresh
// Who decides is up to the caller: a person on a terminal, the buttons of a window.
using Ask = std::function<std::optional<PermissionDecision>(const PermissionPrompt&)>;

void refresh(const LiveSessionService& service, const Ask& ask) {
  const std::vector<Connection> connections = ConnectionStore::shared().load();
  const SessionSnapshot previous = SnapshotStore::shared().load();
  const SnapshotResult result = fetch(service, connections, previous);
  tellNews(previous, result.snapshot);
  SnapshotStore::shared().save(result.snapshot);  // for widgets, and for the next time

  for (const AgentSession& session : result.snapshot.sessions) {
    // What an agent asked that can't be reached now is old: it can't be answered either.
    if (!session.permission || result.errors.contains(session.provider)) continue;
    const auto paired = std::ranges::find(connections, session.provider, &Connection::provider);
    const auto decision = ask(*session.permission);
    if (!decision) continue;
    const bool isInTime = answer(service, *session.permission, *decision, *paired);
    std::cout << (isInTime ? "Answered: " : "Too late: ") << rawValue(*decision) << "\n";
  }
}
// end region

}  // namespace

// region main
int main(int argc, char** argv) {
  const LiveSessionService service{RelayClient(URLSession::shared())};
  try {
    if (argc > 1) remember(pairWith(service, argv[1]));
    refresh(service, askOnTerminal);
    return 0;
  } catch (const std::exception&) {
    // Every error of the library has a sentence for people.
    std::cerr << errorDescription(std::current_exception()) << "\n";
    return 1;
  }
}
// end region

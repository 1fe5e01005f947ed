// SPDX-License-Identifier: MIT
#include <tools/idlewyn/demo/DemoTour.hpp>

#include <algorithm>
#include <filesystem>
#include <utility>

#include <sys/stat.h>

#include <IdlewynKit/model/SnapshotLead.hpp>
#include <IdlewynKit/platform/secrets/KeychainPlace.hpp>
#include <IdlewynKit/platform/text/DisplayText.hpp>
#include <IdlewynKit/relay/PairingLink.hpp>
#include <IdlewynKit/relay/RelayError.hpp>
#include <IdlewynKit/storage/ConnectionStore.hpp>
#include <IdlewynKit/storage/SnapshotStore.hpp>

#include <tools/idlewyn/prompts/PromptChoice.hpp>
#include <tools/idlewyn/relays/Fingerprint.hpp>
#include <tools/idlewyn/render/PictureFile.hpp>
#include <tools/idlewyn/render/RenderModule.hpp>
#include <tools/idlewyn/sessions/SessionReport.hpp>

namespace idlewyn::command {
namespace {

std::string inQuotes(const std::exception_ptr& error) {
  return "“" + describe(error).message + "”";
}

bool hasCode(const std::exception_ptr& error, ExitCode code) {
  return error && describe(error).code == code;
}

std::exception_ptr errorOf(const SnapshotResult& result, AgentProvider provider) {
  const auto found = result.errors.find(provider);
  return found == result.errors.end() ? nullptr : found->second;
}

// Everything below the folder.
bool isOwnersAlone(const std::filesystem::path& folder) {
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    struct stat status {};
    if (stat(entry.path().c_str(), &status) != 0 || (status.st_mode & 077) != 0) return false;
  }
  return true;
}

}  // namespace

void showSessions(Tour& tour, const SessionSnapshot& snapshot, Date now) {
  const auto sorted = snapshot.sorted();
  tour.expect(
      std::ranges::is_sorted(sorted, {}, [](const AgentSession& s) { return sortRank(s.status); }),
      "the sessions come in display order");
  tour.show(sessionTable(snapshot, now, tour.style()));
  const SnapshotLead lead(snapshot);
  tour.show("Lead:    " + std::to_string(lead.count()) + " " + lead.label());
  tour.show("Summary: " + lead.summary());
  tour.expect(lead.summary().starts_with(std::to_string(lead.count()) + " " + lead.label()),
              "the summary begins with the lead");
}

DemoTour::DemoTour(Tour& tour, Relays& relays, ConnectionList& connections, std::string pictures)
    : tour_(tour),
      relays_(relays),
      connections_(connections),
      pictures_(std::move(pictures)),
      claude_(SandboxProcess::findProgram(), relays),
      codex_(SandboxProcess::findProgram(), relays) {}

void DemoTour::run() {
  showRelays();
  pairByLink();
  pairByAddress();
  takeSnapshot();
  detectTransitions();
  answerPrompt();
  refuseCertificate();
  pairAnew();
  losePeer();
  drawPictures();
}

void DemoTour::showRelays() {
  tour_.step("Two sandbox relays, with certificates that no authority vouches for");
  tour_.show("for Claude Code at " + claude_.pairing().address.text());
  tour_.show("for Codex at       " + codex_.pairing().address.text());
  tour_.expect(claude_.pairing().fingerprint != codex_.pairing().fingerprint,
               "each has a certificate of its own");
}

Connection DemoTour::pairClaude() {
  const auto url = URL::parse(claude_.pairing().pairingLink);
  const auto link = url ? PairingLink::parse(*url) : std::nullopt;
  tour_.expect(link && link->certificatePin, "the relay gives a pairing link with a pin");
  Connection connection =
      relays_.pair(AgentProvider::claude, link->serverURL, link->code, link->certificatePin);
  tour_.expect(connection.certificatePin == claude_.pairing().fingerprint,
               "the link's pin is the relay's fingerprint");
  keep(connection);
  return connection;
}

void DemoTour::keep(const Connection& connection) {
  connections_.update([&](std::vector<Connection>& list) {
    std::erase_if(list, [&](const Connection& c) { return c.provider == connection.provider; });
    list.push_back(connection);
  });
}

void DemoTour::pairByLink() {
  tour_.step("Claude Code is paired by link: address, code and pin in one");
  const Connection connection = pairClaude();
  tour_.show("as " + displayLine(connection.accountName) + "; only this certificate is accepted:");
  for (const std::string& line : fingerprintLines(*connection.certificatePin)) {
    tour_.show("  " + line);
  }
}

void DemoTour::pairByAddress() {
  tour_.step("Codex is paired by address and code: trust on first use");
  const SandboxPairing& relay = codex_.pairing();
  const Connection connection =
      relays_.pair(AgentProvider::codex, relay.address, relay.pairingCode, std::nullopt);
  tour_.expect(connection.certificatePin == relay.fingerprint,
               "the certificate that was seen became the pin");
  keep(connection);
  tour_.show("as " + displayLine(connection.accountName) +
             "; the certificate seen became the pin:");
  for (const std::string& line : fingerprintLines(*connection.certificatePin)) {
    tour_.show("  " + line);
  }
  const platform::KeychainLocation keychain = platform::keychainLocation();
  tour_.expect(isOwnersAlone(keychain.directory), "the connections are kept for their owner alone");
  tour_.expect(ConnectionStore::shared().load() == connections_.load(),
               "every program of the product finds both");
  tour_.show("Both connections are kept in a keychain of this tour alone, mode 0600.");
}

SnapshotResult DemoTour::fetch() { return relays_.snapshot(connections_.load(), last_); }

void DemoTour::takeSnapshot() {
  tour_.step("Both agents' sessions in one snapshot, in display order");
  now_ = claude_.advance(0);
  SnapshotResult result = fetch();
  tour_.expect(result.errors.empty(), "both relays answer");
  SnapshotStore::shared().save(result.snapshot);
  tour_.expect(SnapshotStore::shared().load().sessions.size() == result.snapshot.sessions.size(),
               "other programs see the snapshot");
  for (const AgentProvider provider : allCases<AgentProvider>()) {
    tour_.expect(!result.snapshot.sessionsFor(provider).empty(),
                 std::string(displayName(provider)) + " has sessions");
  }
  showSessions(tour_, result.snapshot, now_);
  last_ = std::move(result.snapshot);
}

void DemoTour::detectTransitions() {
  tour_.step("Thirty seconds pass on the relays' clocks: what has come to need you");
  codex_.advance(30);
  now_ = claude_.advance(30);
  SnapshotResult result = fetch();
  const auto transitions = SessionTransition::detect(last_, result.snapshot);
  for (const SessionTransition& transition : transitions) {
    tour_.show(transitionLine(transition, tour_.style()));
  }
  for (const AgentProvider provider : allCases<AgentProvider>()) {
    const bool asks = std::ranges::any_of(transitions, [&](const SessionTransition& t) {
      return t.session.provider == provider && t.from == SessionStatus::working &&
             t.session.status == SessionStatus::waitingForInput;
    });
    tour_.expect(asks, std::string(displayName(provider)) + " stopped working to ask");
  }
  tour_.show("");
  showSessions(tour_, result.snapshot, now_);
  tour_.show("");
  tour_.show(promptReport(result.snapshot, tour_.style()));
  last_ = std::move(result.snapshot);
}

void DemoTour::answerPrompt() {
  tour_.step("A prompt is answered, and then answered once more");
  const auto prompts = openPrompts(last_.sessionsFor(AgentProvider::claude));
  tour_.expect(!prompts.empty(), "Claude Code asks");
  const PromptRecord& prompt = prompts.front();
  const Connection connection = connections_.onlyOne(prompt.agent);
  relays_.decide(PermissionDecision::allow, prompt.id, connection);
  tour_.show("allow " + displayLine(prompt.id) + ": accepted");
  answerAgain(prompt, connection);

  SnapshotResult result = fetch();
  const auto open = openPrompts(result.snapshot.sessions);
  tour_.expect(std::ranges::find(open, prompt.id, &PromptRecord::id) == open.end(),
               "the prompt is gone");
  const auto session =
      std::ranges::find(result.snapshot.sessions, prompt.sessionID, &AgentSession::id);
  tour_.expect(session != result.snapshot.sessions.end() && isWorking(session->status),
               "the session works again");
  tour_.show(displayLine(prompt.sessionTitle) + ": working again");
  last_ = std::move(result.snapshot);
}

void DemoTour::answerAgain(const PromptRecord& prompt, const Connection& connection) {
  std::exception_ptr error;
  try {
    relays_.decide(PermissionDecision::allow, prompt.id, connection);
  } catch (const RelayError&) {
    error = std::current_exception();
  }
  tour_.expect(hasCode(error, ExitCode::promptExpired), "the second answer came too late");
  tour_.show("allow " + displayLine(prompt.id) + ": " + inQuotes(error));
}

void DemoTour::showSnapshot(const SnapshotResult& result) {
  tour_.show(sessionTable(result.snapshot, now_, tour_.style()));
  tour_.show(errorReport(result.errors, tour_.style()));
}

void DemoTour::refuseCertificate() {
  tour_.step("Claude Code's relay comes with another certificate, and is refused");
  claude_.replaceCertificate();
  const SnapshotResult result = fetch();
  const auto error = errorOf(result, AgentProvider::claude);
  tour_.expect(hasCode(error, ExitCode::certificateMismatch), "the wrong certificate was refused");
  tour_.expect(!errorOf(result, AgentProvider::codex), "the other agent is not affected");
  tour_.expect(result.snapshot.sessionsFor(AgentProvider::claude) ==
                   last_.sessionsFor(AgentProvider::claude),
               "its last known sessions are kept");
  showSnapshot(result);
}

void DemoTour::pairAnew() {
  tour_.step("It is paired again, by a new link with the new pin");
  claude_.renewPairing();
  pairClaude();
  SnapshotResult result = fetch();
  tour_.expect(result.errors.empty(), "both relays answer again");
  tour_.show("Summary: " + SnapshotLead(result.snapshot).summary());
  last_ = std::move(result.snapshot);
}

void DemoTour::losePeer() {
  tour_.step("Codex's relay is stopped: its sessions are kept, its error is shown");
  codex_.stop();
  const SnapshotResult result = fetch();
  const auto error = errorOf(result, AgentProvider::codex);
  tour_.expect(hasCode(error, ExitCode::network), "the relay can't be reached");
  tour_.expect(!errorOf(result, AgentProvider::claude), "the other agent is not affected");
  tour_.expect(
      result.snapshot.sessionsFor(AgentProvider::codex) == last_.sessionsFor(AgentProvider::codex),
      "its last known sessions are kept");
  showSnapshot(result);
}

void DemoTour::drawPictures() {
  tour_.step("The last snapshot as a picture: light, dark and by night");
  std::error_code error;
  std::filesystem::create_directories(pictures_, error);
  Rendering rendering(last_);
  rendering.now = now_;
  for (const auto& [look, name] :
       {std::pair{PictureLook::light, "light"}, std::pair{PictureLook::dark, "dark"},
        std::pair{PictureLook::night, "night"}}) {
    rendering.look = look;
    const std::string file = pictures_ + "/sessions-" + name + ".png";
    const platform::Data picture = render(rendering);
    writePicture(picture, file);
    tour_.expect(picture.text().starts_with("\x89PNG"), "it is a picture");
    tour_.show(displayLine(file));
  }
}

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include <IdlewynKit/demo/DemoSessions.hpp>

#include <tools/idlewyn/commands/Commands.hpp>
#include <tools/idlewyn/demo/DemoTour.hpp>
#include <tools/idlewyn/sessions/SessionReport.hpp>

namespace idlewyn::command {
namespace {

namespace fs = std::filesystem;

class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::error_code error;
    const fs::path place = fs::temp_directory_path(error);
    if (!error) path_ = (place / "idlewyn-demo-XXXXXX").native();
    if (error || mkdtemp(path_.data()) == nullptr) {
      throw Failure(ExitCode::failure, "storage",
                    "Can't make a temporary directory; TMPDIR must name one that can be written.");
    }
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::string& path() const noexcept { return path_; }

 private:
  std::string path_;
};

SessionSnapshot demoSnapshot(Date at) {
  SessionSnapshot snapshot(std::vector<AgentSession>(), at);
  for (const AgentProvider provider : allCases<AgentProvider>()) {
    for (AgentSession& session : DemoSessions::sessions(provider, at)) {
      snapshot.sessions.push_back(std::move(session));
    }
  }
  return snapshot;
}

// The generated sessions are a function of the time, so that nobody has to wait.
void showComingTransitions(Tour& tour, const SessionSnapshot& first) {
  constexpr int stepSeconds = 5, longest = 300;
  SessionSnapshot previous = demoSnapshot(first.updatedAt);
  for (int after = stepSeconds; after <= longest; after += stepSeconds) {
    SessionSnapshot next = demoSnapshot(first.updatedAt + std::chrono::seconds(after));
    const auto transitions = SessionTransition::detect(previous, next);
    for (const SessionTransition& transition : transitions) {
      tour.show("after " + elapsedText(after) + "  " + transitionLine(transition, tour.style()));
    }
    if (!transitions.empty()) return;
    previous = std::move(next);
  }
  tour.expect(false, "a session comes to need the user");
}

void answerOffline(Tour& tour, Relays& relays, const Connection& connection) {
  relays.decide(PermissionDecision::allow, "demo-claude-0-0", connection);
  tour.show("allow: accepted");
  const bool before = relays.remoteApprovals(connection);
  const bool after = relays.setRemoteApprovals(true, connection);
  tour.expect(!before && after, "remote approvals are off and can be asked for");
  tour.show("remote approvals: off; asked for: on");
}

void runOfflineTour(Tour& tour, Relays& relays) {
  tour.step("Demo connections of both agents, without a relay");
  std::vector<Connection> connections;
  for (const AgentProvider provider : allCases<AgentProvider>()) {
    connections.push_back(Connection::demo(provider));
    tour.expect(connections.back().isDemo(), "a demo connection has no address");
    tour.show(std::string(displayName(provider)) + ", account " + connections.back().accountName);
  }

  tour.step("Their sessions in one snapshot, in display order");
  const SnapshotResult result = relays.snapshot(connections, SessionSnapshot::empty());
  tour.expect(result.errors.empty(), "demo connections don't fail");
  tour.expect(result.snapshot.sessions.size() == 5, "there are three sessions and two");
  showSessions(tour, result.snapshot, result.snapshot.updatedAt);
  if (const auto prompts = promptReport(result.snapshot, tour.style()); !prompts.empty()) {
    tour.show("");
    tour.show(prompts);
  }

  tour.step("What comes to need you next");
  showComingTransitions(tour, result.snapshot);

  tour.step("Answers are taken, and go nowhere");
  answerOffline(tour, relays, connections.front());
}

}  // namespace

ExitCode runDemo(const Arguments& given, Surroundings& with) {
  Relays& relays = with.relays;
  Output& output = with.output;
  // Neither a signal nor a reader that goes away may leave relays or files behind.
  relays.listen();
  std::signal(SIGPIPE, SIG_IGN);
  Tour tour(output);
  if (given.has("--offline")) {
    runOfflineTour(tour, relays);
  } else {
    const TemporaryDirectory directory;
    // Stores of its own: nothing of the user's is read or changed.
    setenv("IDLEWYN_DATA_DIR", directory.path().c_str(), 1);
    setenv("IDLEWYN_KEYCHAIN", "file", 1);
    const std::string pictures = given.text("--pictures");
    DemoTour(tour, relays, with.connections(), pictures.empty() ? directory.path() : pictures)
        .run();
  }
  output.line();
  output.line(toned("The tour showed everything that it should.", Tone::good, output.style));
  return ExitCode::ok;
}

}  // namespace idlewyn::command

// SPDX-License-Identifier: MIT
// An application's own test, with a service that it wrote itself in place of relays.
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/IdlewynKit.hpp>

using namespace idlewyn;

namespace {

// region application
// What is tested: it takes the service as its interface, so that a test can give it another, and
// asks the user through a function. Nothing for "not now": the prompt stays open.
using Ask = std::function<std::optional<PermissionDecision>(const PermissionPrompt&)>;

boost::asio::awaitable<int> answerAll(const SessionService& service, Connection connection,
                                      Ask ask) {
  int answered = 0;
  const std::vector<AgentSession> sessions = co_await service.sessions(connection);
  for (const AgentSession& session : sessions) {
    if (!session.permission) continue;
    const std::optional<PermissionDecision> decision = ask(*session.permission);
    if (!decision) continue;
    try {
      co_await service.decide(*decision, session.permission->id, connection);
      ++answered;
    } catch (const RelayError& error) {
      if (error != RelayError::promptExpired()) throw;
    }
  }
  co_return answered;
}
// end region

// region fake
// Operations without a body of their own here are refused, so that no test relies on them.
class FakeService final : public SessionService {
 public:
  boost::asio::awaitable<std::vector<AgentSession>> sessions(Connection) const override {
    co_return shown;
  }
  boost::asio::awaitable<void> decide(PermissionDecision decision, std::string promptID,
                                      Connection) const override {
    if (promptID == expired) throw RelayError::promptExpired();
    answered.push_back(promptID + ": " + std::string(rawValue(decision)));
    co_return;
  }
  boost::asio::awaitable<Connection> pair(AgentProvider, URL, std::string,
                                          std::optional<std::string>) const override {
    throw RelayError::unauthorized();
  }
  boost::asio::awaitable<bool> remoteApprovals(Connection) const override {
    throw RelayError::unauthorized();
  }
  boost::asio::awaitable<bool> setRemoteApprovals(bool, Connection) const override {
    throw RelayError::unauthorized();
  }
  boost::asio::awaitable<void> registerPushToken(PushTokenRegistration, Connection) const override {
    throw RelayError::unauthorized();
  }
  boost::asio::awaitable<void> unpair(Connection) const override {
    throw RelayError::unauthorized();
  }

  std::vector<AgentSession> shown;
  std::string expired;
  mutable std::vector<std::string> answered;
};
// end region

// region test
AgentSession asking(const std::string& promptID) {
  const Date now = DateClock::now();
  const PermissionPrompt prompt(promptID, "Bash", "make test", now, std::nullopt);
  return AgentSession("session-" + promptID, AgentProvider::claude, "Title", std::nullopt,
                      SessionStatus::waitingForInput, now, now, std::nullopt, prompt, std::nullopt,
                      std::nullopt, std::nullopt, std::nullopt);
}

TEST(AnswerAll, SendsWhatTheUserDecidesAndGoesOnBehindAPromptThatHasExpired) {
  FakeService service;
  service.shown = {asking("first"), asking("gone"), asking("later"), asking("last")};
  service.expired = "gone";
  const auto ask = [](const PermissionPrompt& prompt) -> std::optional<PermissionDecision> {
    if (prompt.id == "later") return std::nullopt;
    return prompt.id == "last" ? PermissionDecision::deny : PermissionDecision::allow;
  };
  const Connection connection = Connection::demo(AgentProvider::claude);
  EXPECT_EQ(wait(answerAll(service, connection, ask)), 2);
  EXPECT_EQ(service.answered, (std::vector<std::string>{"first: allow", "last: deny"}));
}
// end region

// region snapshots
// `snapshot` is the live service's own: code that takes snapshots is given a function for it.
using TakeSnapshot =
    std::function<boost::asio::awaitable<SnapshotResult>(std::vector<Connection>, SessionSnapshot)>;

// What the application is given.
TakeSnapshot fromRelays(LiveSessionService service) {
  return [service](std::vector<Connection> connections, SessionSnapshot previous) {
    return service.snapshot(std::move(connections), std::move(previous));
  };
}

// What is tested: a line for each session that has come to need the user, and for each agent that
// can't be reached.
boost::asio::awaitable<std::vector<std::string>> news(TakeSnapshot take,
                                                      std::vector<Connection> connections,
                                                      SessionSnapshot previous) {
  std::vector<std::string> lines;
  const SnapshotResult result = co_await take(connections, previous);
  for (const auto& change : SessionTransition::detect(previous, result.snapshot))
    lines.push_back(change.session.id);
  for (const auto& [provider, error] : result.errors)
    lines.push_back(std::string(displayName(provider)) + ": " + errorDescription(error));
  co_return lines;
}
// end region

// region snapshot-test
TEST(News, NamesWhatAsksNowAndWhoCanNotBeReached) {
  const std::map<AgentProvider, std::exception_ptr> errors{
      {AgentProvider::codex, std::make_exception_ptr(RelayError::server(503))}};
  const std::vector<AgentSession> sessions{asking("new")};
  const SnapshotResult answer(SessionSnapshot(sessions, DateClock::now()), errors);
  const TakeSnapshot take = [&](std::vector<Connection>,
                                SessionSnapshot) -> boost::asio::awaitable<SnapshotResult> {
    co_return answer;
  };
  AgentSession before = asking("new");
  before.status = SessionStatus::working;
  const std::vector<AgentSession> known{before};
  const SessionSnapshot previous(known, DateClock::now());
  const std::vector<std::string> lines = wait(news(take, {}, previous));
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "session-new");
  EXPECT_EQ(lines[1], "Codex: " + RelayError::server(503).errorDescription());
}

TEST(News, TakesDemoConnectionsWithoutANetwork) {
  const TakeSnapshot take = fromRelays(LiveSessionService(RelayClient(URLSession::shared())));
  const std::vector<Connection> connections{Connection::demo(AgentProvider::claude)};
  const SnapshotResult result = wait(take(connections, SessionSnapshot::empty()));
  EXPECT_TRUE(result.errors.empty());
  EXPECT_FALSE(result.snapshot.sessions.empty());
}
// end region

}  // namespace

// SPDX-License-Identifier: MIT
// An application's own test, with a service that it wrote itself in place of relays.
#include <gtest/gtest.h>

#include <IdlewynKit/IdlewynKit.hpp>

using namespace idlewyn;

namespace {

// region application
// What is tested: it takes the service as its interface, so that a test can give it another.
boost::asio::awaitable<int> allowAll(const SessionService& service, Connection connection) {
  int answered = 0;
  const std::vector<AgentSession> sessions = co_await service.sessions(connection);
  for (const AgentSession& session : sessions) {
    if (!session.permission) continue;
    try {
      co_await service.decide(PermissionDecision::allow, session.permission->id, connection);
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
  boost::asio::awaitable<void> decide(PermissionDecision, std::string promptID,
                                      Connection) const override {
    if (promptID == expired) throw RelayError::promptExpired();
    answered.push_back(promptID);
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

TEST(AllowAll, GoesOnBehindAPromptThatHasExpired) {
  FakeService service;
  service.shown = {asking("first"), asking("gone"), asking("last")};
  service.expired = "gone";
  const Connection connection = Connection::demo(AgentProvider::claude);
  EXPECT_EQ(wait(allowAll(service, connection)), 2);
  EXPECT_EQ(service.answered, (std::vector<std::string>{"first", "last"}));
}
// end region

}  // namespace

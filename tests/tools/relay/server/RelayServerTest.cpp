// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <deque>

#include <tests/support/ErrorText.hpp>
#include <tests/tools/relay/server/ServedRelay.hpp>
#include <tests/tools/sandbox/RawClient.hpp>

namespace idlewyn::testing {
namespace {

using namespace std::chrono_literals;
using sandbox::RawClient;

std::string sentence(const RelayError& error) { return error.errorDescription(); }

TEST(RelayServer, ServesEveryOperationOverTLS) {
  ServedRelay relay({}, true);
  const Connection paired = relay.paired(AgentProvider::claude, relay.code());
  const std::string prompt = relay.ask(AgentProvider::claude, "Bash(make test)");

  const auto sessions = platform::wait(relay.client.sessions(paired));
  ASSERT_EQ(sessions.size(), 1U);
  ASSERT_TRUE(sessions[0].permission);
  EXPECT_EQ(sessions[0].permission->id, prompt);
  EXPECT_EQ(sessions[0].permission->detail, "make test");
  EXPECT_EQ(sessions[0].permission->alwaysRule, "Bash(make test)");

  platform::wait(relay.client.decide(PermissionDecision::always, prompt, paired));
  EXPECT_EQ(relay.answer, "always");
  EXPECT_TRUE(platform::wait(relay.client.remoteApprovals(paired)));
  EXPECT_FALSE(platform::wait(relay.client.setRemoteApprovals(false, paired)));
  const PushTokenRegistration token("device", PushTokenRegistration::Kind::activity,
                                    Data{1, 2}, "production", std::nullopt);
  platform::wait(relay.client.registerPushToken(token, paired));
  EXPECT_EQ(relay.on([&] { return relay.live.state().devices.at(0).pushTokens.size(); }), 1U);
  platform::wait(relay.client.unpair(paired));
  EXPECT_EQ(outcomeOf([&] { return relay.client.sessions(paired); }),
            sentence(RelayError::unauthorized()));
}

TEST(RelayServer, RefusesWhatATokenOrCodeIsNotGoodFor) {
  ServedRelay relay;
  const std::string code = relay.code();
  const Connection claude = relay.paired(AgentProvider::claude, code);
  const auto pairAgain = [&] {
    return relay.client.pair(AgentProvider::claude, relay.address(), code, std::nullopt);
  };
  EXPECT_EQ(outcomeOf(pairAgain), sentence(RelayError::unauthorized())) << "a code serves once";
  const Connection codex = relay.paired(AgentProvider::codex, code);

  const std::string prompt = relay.ask(AgentProvider::claude, std::nullopt);
  const auto decide = [&](PermissionDecision decision, const Connection& by) {
    return outcomeOf([&] { return relay.client.decide(decision, prompt, by); });
  };
  EXPECT_EQ(decide(PermissionDecision::allow, codex), sentence(RelayError::promptExpired()));
  EXPECT_EQ(decide(PermissionDecision::always, claude), sentence(RelayError::server(400)));
  EXPECT_EQ(relay.answer, "") << "the prompt stays open";
  EXPECT_EQ(decide(PermissionDecision::deny, claude), "ok");
  EXPECT_EQ(decide(PermissionDecision::deny, claude), sentence(RelayError::promptExpired()));
  EXPECT_EQ(relay.answer, "deny");

  ASSERT_TRUE(relay.on([&] { return relay.live.revoke("phone"); }));
  for (const Connection& ended : {claude, codex}) {
    EXPECT_EQ(outcomeOf([&] { return relay.client.sessions(ended); }),
              sentence(RelayError::unauthorized()));
  }
}

TEST(RelayServer, TakesARightCodeAfterManyWrongOnes) {
  ServedRelay relay;
  const std::string code = relay.code();
  const auto wrong = [&] {
    return relay.client.pair(AgentProvider::claude, relay.address(), "WRONG", std::nullopt);
  };
  for (int i = 0; i < relay::WrongCodes::allowed; ++i)
    EXPECT_EQ(outcomeOf(wrong), sentence(RelayError::unauthorized()));
  EXPECT_EQ(outcomeOf(wrong), sentence(RelayError::tooManyAttempts()));
  EXPECT_EQ(relay.paired(AgentProvider::claude, code).provider, AgentProvider::claude);
}

TEST(RelayServer, SwitchingOffGivesQuestionsBackAndALockHolds) {
  ServedRelay relay;
  const Connection paired = relay.paired(AgentProvider::claude, relay.code());
  const std::string prompt = relay.ask(AgentProvider::claude, std::nullopt);
  EXPECT_FALSE(platform::wait(relay.client.setRemoteApprovals(false, paired)));
  EXPECT_EQ(relay.answer, "given back");
  const auto sessions = platform::wait(relay.client.sessions(paired));
  ASSERT_EQ(sessions.size(), 1U);
  EXPECT_EQ(sessions[0].status, SessionStatus::waitingForInput);
  EXPECT_FALSE(sessions[0].permission);
  EXPECT_TRUE(platform::wait(relay.client.setRemoteApprovals(true, paired)));
  relay.on([&] { relay.live.setApprovals(false, true); });
  EXPECT_FALSE(platform::wait(relay.client.setRemoteApprovals(true, paired)));
}

TEST(RelayServer, AnswersMalformedRequestsByTheirFault) {
  ServedRelay relay;
  struct Row {
    const char* why;
    std::string bytes;
    int status;
  };
  const std::string post = "POST /v1/pair HTTP/1.1\r\nHost: x\r\n";
  const std::vector<Row> rows{
      {"no HTTP", "hello\r\n\r\n", 400},
      {"no host", "GET /v1/sessions HTTP/1.1\r\n\r\n", 400},
      {"two hosts", "GET / HTTP/1.1\r\nHost: x\r\nHost: y\r\n\r\n", 400},
      {"no token", "GET /v1/sessions HTTP/1.1\r\nHost: x\r\n\r\n", 401},
      {"unknown path", "GET /v2 HTTP/1.1\r\nHost: x\r\n\r\n", 404},
      {"wrong method", "GET /v1/pair HTTP/1.1\r\nHost: x\r\n\r\n", 405},
      {"no length", post + "\r\n", 411},
      {"body that is no JSON", post + "Content-Length: 2\r\n\r\n[]", 400},
      {"body too large", post + "Content-Length: 999999\r\n\r\n", 413},
      {"two unequal lengths", post + "Content-Length: 2\r\nContent-Length: 3\r\n\r\n{}x", 400},
      {"length and chunks",
       post + "Content-Length: 2\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", 400},
      {"head too large", "GET / HTTP/1.1\r\nHost: x\r\nX: " + std::string(20'000, 'x') + "\r\n\r\n",
       431},
      {"absolute target", "GET http://x/v1/sessions HTTP/1.1\r\nHost: x\r\n\r\n", 401},
  };
  for (const Row& row : rows)
    EXPECT_EQ(RawClient(relay.address()).exchange(row.bytes).status, row.status) << row.why;
}

TEST(RelayServer, EndsSlowSendersAndKeepsOthersServed) {
  relay::ServerOptions options;
  options.receivingTime = 300ms;
  options.idleTime = 300ms;
  ServedRelay relay(options);
  RawClient slow(relay.address());
  slow.send("GET /v1/sessions HTTP/1.1\r\nHo");
  RawClient idle(relay.address());
  std::this_thread::sleep_for(700ms);
  EXPECT_NE(slow.exchange("st: x\r\n\r\n").status, 401) << "the rest came too late";
  EXPECT_EQ(idle.exchange("GET /v1/sessions HTTP/1.1\r\nHost: x\r\n\r\n").status, 0);
  EXPECT_EQ(
      RawClient(relay.address()).exchange("GET /v1/sessions HTTP/1.1\r\nHost: x\r\n\r\n").status,
      401);
}

TEST(RelayServer, ClosesConnectionsBeyondTheLimitOfAnAddress) {
  relay::ServerOptions options;
  options.admission.ofThisMachine = 3;
  ServedRelay relay(options);
  const std::string request = "GET /v1/sessions HTTP/1.1\r\nHost: x\r\n\r\n";
  std::deque<RawClient> held;
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(held.emplace_back(relay.address()).exchange(request).status, 401);
  EXPECT_EQ(RawClient(relay.address()).exchange(request).status, 0);
  held.pop_front();
  int status = 0;
  for (int tries = 0; tries < 50 && status == 0; ++tries) {
    std::this_thread::sleep_for(20ms);
    status = RawClient(relay.address()).exchange(request).status;
  }
  EXPECT_EQ(status, 401) << "a place that was given back can be taken";
}

}  // namespace
}  // namespace idlewyn::testing

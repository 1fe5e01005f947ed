// SPDX-License-Identifier: MIT
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/RelayFixture.hpp>
#include <tests/support/Sessions.hpp>

namespace idlewyn {
namespace {

using testing::connectionTo;
using testing::headerOf;
using testing::liveService;
using testing::makeSession;
using testing::outcomeOf;
using testing::plainHTTP;
using testing::withPrompt;

PushTokenRegistration registration() {
  return PushTokenRegistration("device", PushTokenRegistration::Kind::activity, Data{0xAB, 0x01},
                               "sandbox", std::nullopt);
}

// Gives the outcome of an operation on a connection.
using Operation = std::function<std::string(const Connection&)>;

std::vector<Operation> operations() {
  const LiveSessionService service = liveService();
  const auto outcome = [](auto call) -> Operation {
    return [=](const Connection& c) { return outcomeOf([&] { return call(c); }); };
  };
  return {
      outcome([=](auto& c) { return service.sessions(c); }),
      outcome([=](auto& c) { return service.decide(PermissionDecision::deny, "p", c); }),
      outcome([=](auto& c) { return service.remoteApprovals(c); }),
      outcome([=](auto& c) { return service.setRemoteApprovals(true, c); }),
      outcome([=](auto& c) { return service.registerPushToken(registration(), c); }),
      outcome([=](auto& c) { return service.unpair(c); }),
  };
}

TEST(RelayClient, SendsExactlyTheRequestOfEachEndpoint) {
  for (const char* prefix : {"", "relay/behind"}) {
    sandbox::SandboxRelay relay(plainHTTP(prefix));
    relay.setSessions({withPrompt(makeSession("s", SessionStatus::waitingForInput), "p")});
    const Connection connection = connectionTo(relay);
    for (const Operation& operation : operations())
      EXPECT_EQ(operation(connection), "ok");
    const std::string base = *prefix ? std::string("/") + prefix : "";
    struct Row {
      const char *method, *target, *type, *length, *body;
    };
    const std::vector<Row> rows{
        {"GET", "/v1/sessions?provider=claude", "(none)", "(none)", ""},
        {"POST", "/v1/permissions/p", "application/json", "19", R"({"decision":"deny"})"},
        {"GET", "/v1/settings", "application/json", "(none)", ""},
        {"POST", "/v1/settings", "application/json", "24", R"({"remoteApprovals":true})"},
        {"POST", "/v1/push/tokens", "application/json", "80",
         R"({"deviceID":"device","kind":"activity","token":"ab01","environment":"sandbox"})"},
        {"POST", "/v1/unpair", "application/json", "0", ""},
    };
    const auto requests = relay.requests();
    ASSERT_EQ(requests.size(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
      EXPECT_EQ(requests[i].method, rows[i].method) << rows[i].target;
      EXPECT_EQ(requests[i].target, base + rows[i].target);
      EXPECT_EQ(requests[i].body, rows[i].body) << rows[i].target;
      EXPECT_EQ(headerOf(requests[i], "Authorization"), "Bearer " + connection.accessToken);
      EXPECT_EQ(headerOf(requests[i], "Content-Type"), rows[i].type) << rows[i].target;
      for (const char* unwanted : {"Accept", "User-Agent", "Expect"}) {
        EXPECT_EQ(headerOf(requests[i], unwanted), "(none)") << rows[i].target;
      }
    }
  }
}

// Sentences are shown and logged; what opens a relay may stand in none.
TEST(RelayClient, ErrorsTellNoSecrets) {
  sandbox::SandboxRelay relay(plainHTTP());
  Connection connection = connectionTo(relay);
  connection.accessToken = "s3cret";
  connection.serverURL = URL::parse("http://s3cret:s3cret@" + relay.address().text().substr(7));
  const auto tells = [&](const std::string& outcome) {
    return outcome.find("s3cret") != std::string::npos;
  };
  for (const Operation& operation : operations())
    EXPECT_FALSE(tells(operation(connection)));
  const auto pair = [&](std::string code) {
    return outcomeOf([&] {
      return liveService().pair(AgentProvider::claude, *connection.serverURL, code, std::nullopt);
    });
  };
  EXPECT_FALSE(tells(pair("s3cret")));
  EXPECT_FALSE(tells(pair("s3cret\xFF")));
  relay.stop();
  try {
    wait(liveService().sessions(connection));
    ADD_FAILURE() << "a stopped relay answered";
  } catch (const URLError& error) {
    EXPECT_FALSE(tells(error.what()) || tells(error.failingURL->text()));
  }
}

TEST(RelayClient, ABaseAddressWithASlashOrAQueryKeepsBoth) {
  sandbox::SandboxRelay relay(plainHTTP());
  Connection connection = connectionTo(relay);
  connection.serverURL = URL::parse(relay.address().text() + "/?a=1#f");
  EXPECT_EQ(outcomeOf([&] { return liveService().sessions(connection); }), "ok");
  EXPECT_EQ(relay.requests().back().target, "/v1/sessions?a=1&provider=claude");
}

TEST(RelayClient, PromptIdsReachTheRelayAsTheyStand) {
  sandbox::SandboxRelay relay(plainHTTP());
  const Connection connection = connectionTo(relay);
  const std::vector<std::pair<std::string, std::string>> rows{
      {"a b", "a%20b"},
      {"../unpair", "../unpair"},
      {"?x#y%2f", "%3Fx%23y%252f"},
      {"", ""},
      {"a:@!$&'()*+,;=~", "a:@!$&'()*+,;=~"},
      {"[1]\\", "%5B1%5D%5C"},
  };
  for (const auto& [promptID, path] : rows) {
    relay.respondWith("*", 404, "{}");
    EXPECT_EQ(outcomeOf([&, id = promptID] {
                return liveService().decide(PermissionDecision::allow, id, connection);
              }),
              RelayError::promptExpired().errorDescription());
    EXPECT_EQ(relay.requests().back().target, "/v1/permissions/" + path) << promptID;
  }
}

// What a status means is tested with the errors, and against every operation by a hostile relay.
TEST(RelayClient, RefusesBodiesThatLackWhatWasAskedForAndFollowsNoRedirect) {
  sandbox::SandboxRelay relay(plainHTTP());
  const Connection connection = connectionTo(relay);
  for (const Operation& operation : operations()) {
    for (const char* body : {"", "{}", "{\"sessions\":[{}]}"}) {
      relay.respondWith("*", 200, body);
      EXPECT_EQ(operation(connection), RelayError::invalidResponse().errorDescription()) << body;
    }
    relay.clearRequests();
    relay.respondWith("*", 307, "{}", {{"Location", "/v1/elsewhere"}});
    EXPECT_EQ(operation(connection), RelayError::server(307).errorDescription());
    EXPECT_EQ(relay.requests().size(), 1u);
  }
}

TEST(RelayClient, ReadsWhatTheRelaySays) {
  sandbox::SandboxRelay relay(plainHTTP());
  const LiveSessionService service = liveService();
  const Connection claude = connectionTo(relay);
  const Connection codex = connectionTo(relay, AgentProvider::codex);
  relay.respondWith("v1/sessions", 200, R"({"sessions":[
      {"id":"1","provider":"claude","title":"","status":"working","startedAt":"2026-01-01T00:00:00Z",
       "updatedAt":"2026-01-01T00:00:00Z"},
      {"id":"2","provider":"codex","title":"","status":"dreaming","startedAt":"2026-01-01T00:00:00Z",
       "updatedAt":"2026-01-01T00:00:00Z"},
      {"id":"3","provider":"claude","title":"","status":"idle","startedAt":"2026-01-01T00:00:00Z",
       "updatedAt":"2026-01-01T00:00:00Z"}]})");
  const auto ofCodex = wait(service.sessions(codex));
  ASSERT_EQ(ofCodex.size(), 1u);
  EXPECT_EQ(ofCodex[0].status, SessionStatus::idle) << "an unknown status decodes";
  EXPECT_EQ(wait(service.sessions(claude)).back().id, "3");

  EXPECT_FALSE(wait(service.remoteApprovals(claude)));
  EXPECT_TRUE(wait(service.setRemoteApprovals(true, claude)));
  EXPECT_TRUE(wait(service.remoteApprovals(claude)));
  relay.respondWith("POST v1/settings", 200, R"({"remoteApprovals":false})");
  EXPECT_FALSE(wait(service.setRemoteApprovals(true, claude))) << "the relay has the last word";

  wait(service.registerPushToken(registration(), claude));
  EXPECT_EQ(relay.pushTokens(), std::vector{registration()});
  relay.respondWith("v1/unpair", 200, R"({"ok":false})");
  wait(service.unpair(claude));
}

TEST(RelayClient, WhatCanNotBeEncodedIsThrownBeforeAnythingIsSent) {
  sandbox::SandboxRelay relay(plainHTTP());
  EXPECT_THROW(wait(liveService().pair(AgentProvider::claude, relay.address(), "\xFF", {})),
               EncodingError);
  Connection connection = connectionTo(relay);
  connection.accessToken = "two\r\nlines";
  EXPECT_EQ(outcomeOf([&] { return liveService().unpair(connection); }), "-1000");
  EXPECT_TRUE(relay.requests().empty());
}

TEST(RelayClient, WithoutAnAddressNothingIsSent) {
  const RelayClient relay(URLSession::shared());
  const LiveSessionService service(relay);
  const Connection demo = Connection::demo(AgentProvider::codex);
  EXPECT_TRUE(wait(relay.sessions(demo)).empty());
  EXPECT_FALSE(wait(relay.remoteApprovals(demo)));
  EXPECT_FALSE(wait(relay.setRemoteApprovals(true, demo)));
  EXPECT_EQ(wait(service.sessions(demo)).size(), 2u);
  EXPECT_TRUE(wait(service.setRemoteApprovals(true, demo)));
  EXPECT_FALSE(wait(service.remoteApprovals(demo)));
  for (const Operation& operation : operations())
    EXPECT_EQ(operation(demo), "ok");
}

}  // namespace
}  // namespace idlewyn

// SPDX-License-Identifier: MIT
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/model/JSONCoding.hpp>

#include <tools/sandbox-relay/WireRecords.hpp>
#include "RawClient.hpp"
#include "tests/support/RelayFixture.hpp"

namespace idlewyn::sandbox {
namespace {

Options stillOptions(std::string prefix = "") {
  Options options = testing::plainHTTP(std::move(prefix));
  options.manualClock = true;
  return options;
}

std::string pairBody(const std::string& provider, const std::string& code) {
  return R"({"provider":")" + provider + R"(","code":")" + code + R"("})";
}

TEST(Endpoints, RefuseWhatTheyDoNotTake) {
  SandboxRelay relay(stillOptions());
  const std::string token = relay.issueToken(AgentProvider::codex);
  struct Row {
    const char* why;
    int status;
    const char* target;
    std::string body;
    std::string token;
    const char* header = "";
  };
  const std::string allow = R"({"decision":"allow"})";
  const Row rows[] = {
      {"unknown path", 404, "GET /v2/sessions", "", token},
      {"no token", 401, "GET /v1/sessions", "", ""},
      {"unknown token", 401, "GET /v1/sessions", "", "x" + token},
      {"no length", 411, "POST /v1/settings", "", token},
      {"no JSON", 400, "POST /v1/settings", "{", token},
      {"another record", 400, "POST /v1/settings", R"({"remote":true})", token},
      {"unknown agent to pair", 400, "POST /v1/pair", pairBody("Claude", "A"), ""},
      {"wrong code", 401, "POST /v1/pair", pairBody("claude", "A"), ""},
      {"unknown agent to list", 400, "GET /v1/sessions?provider=Claude", "", token},
      {"unknown decision", 400, "POST /v1/permissions/a", R"({"decision":"Allow"})", token},
      {"a broken escape", 400, "POST /v1/permissions/%zz", allow, token},
      {"a prompt id that is not UTF-8", 400, "POST /v1/permissions/%FF", allow, token},
      {"unknown kind of push token", 400, "POST /v1/push/tokens",
       R"({"deviceID":"d","kind":"alert","token":"","environment":""})", token},
      {"unknown fault", 400, "GET /v1/settings", "", token, "X-Sandbox-Fault: fire\r\n"},
      {"unknown control request", 404, "GET /sandbox/nothing", "", ""},
      {"time that runs back", 400, "POST /sandbox/clock", R"({"advance":-1})", ""},
  };
  RawClient client(relay.address());
  for (const Row& row : rows) {
    const RawReply reply =
        client.exchange(requestText(row.target, row.token, row.body, row.header));
    EXPECT_EQ(reply.status, row.status) << row.why;
    EXPECT_TRUE(reply.body.starts_with(R"({"error":")")) << row.why;
    EXPECT_EQ(reply.head.find("WWW-Authenticate: Bearer") != std::string::npos,
              row.status == 401 && row.target != std::string("POST /v1/pair"))
        << row.why;
  }
  EXPECT_EQ(relay.connectionsAccepted(), 1u) << "a refusal does not cost the connection";
}

TEST(Endpoints, LieBelowThePathPrefixAndNowhereElse) {
  for (const char* prefix : {"team/relay", "/team/relay/"}) {
    SandboxRelay relay(stillOptions(prefix));
    EXPECT_TRUE(relay.address().text().ends_with("/team/relay")) << relay.address().text();
    RawClient client(relay.address());
    const std::string token = relay.issueToken(AgentProvider::codex);
    const std::pair<const char*, int> rows[] = {{"GET /team/relay/v1/settings", 200},
                                                {"GET /v1/settings", 404},
                                                {"GET /team/relays/v1/settings", 404},
                                                {"GET /sandbox/clock", 200},
                                                {"GET /team/relay/sandbox/clock", 200}};
    for (const auto& [target, status] : rows)
      EXPECT_EQ(client.exchange(requestText(target, token)).status, status) << target;
  }
  EXPECT_THROW(SandboxRelay(stillOptions("a b")).address(), std::runtime_error);
}

// What clients and the command send is tested with them.
TEST(Endpoints, TakeWhatOtherClientsMaySend) {
  SandboxRelay relay(stillOptions());
  RawClient client(relay.address());
  relay.advance(std::chrono::seconds(10));
  const std::string token = relay.issueToken(AgentProvider::claude);
  const RawReply all = client.exchange(requestText("GET /v1/sessions", token));
  EXPECT_EQ(JSONDecoder::relay().decode<wire::Sessions>(std::string_view(all.body)).sessions,
            relay.state().sessions(std::nullopt));
  const std::string allow = R"({"decision":"always"})";
  EXPECT_EQ(client.exchange(requestText("POST /v1/permissions/tidy%2Dup-1", token, allow)).body,
            R"({"ok":true})");
  const auto items = URL::parse(relay.pairingLink("A&B C")).value().queryItems();
  EXPECT_EQ(items, (std::vector<platform::URLQueryItem>{{"url", relay.address().text()},
                                                        {"code", "A&B C"}}));
}

// The others are in use by the command's tests.
TEST(ControlRequests, HideTokensForgetAndAskForTheEnd) {
  Options options = stillOptions();
  bool stopAsked = false;
  options.onStopRequest = [&] { stopAsked = true; };
  SandboxRelay relay(options);
  RawClient client(relay.address());
  const std::string token = relay.issueToken(AgentProvider::claude);
  const auto send = [&](const char* target) { return client.exchange(requestText(target, token)); };
  EXPECT_EQ(send("GET /v1/settings").status, 200);
  const std::string shown = send("GET /sandbox/requests").body;
  EXPECT_NE(shown.find(R"("target":"/v1/settings")"), std::string::npos);
  EXPECT_EQ(shown.find(token), std::string::npos);
  EXPECT_EQ(send("DELETE /sandbox/requests").status, 200);
  EXPECT_TRUE(relay.requests().empty());
  relay.setSessions({});
  EXPECT_EQ(send("DELETE /sandbox/sessions").status, 200);
  EXPECT_EQ(relay.state().sessions(std::nullopt).size(), 5u);
  EXPECT_EQ(send("POST /sandbox/certificate").status, 400) << "plain http";
  EXPECT_EQ(send("POST /sandbox/stop").status, 200);
  EXPECT_EQ(send("GET /v1/settings").status, 200);
  EXPECT_TRUE(stopAsked);
}

}  // namespace
}  // namespace idlewyn::sandbox

// SPDX-License-Identifier: MIT
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/model/JSONCoding.hpp>

#include "RawClient.hpp"
#include "tools/sandbox-relay/SandboxRelay.hpp"
#include "tools/sandbox-relay/WireRecords.hpp"

namespace idlewyn::sandbox {
namespace {

Options plainOptions() {
  Options options;
  options.tls = false;
  options.manualClock = true;
  return options;
}

template <class T>
T decoded(const RawReply& reply) {
  return JSONDecoder::relay().decode<T>(std::string_view(reply.body));
}

std::string pairBody(std::string_view provider, std::string_view code) {
  return std::string(R"({"provider":")")
      .append(provider)
      .append(R"(","code":")")
      .append(code)
      .append(R"("})");
}

std::string tokenIn(const RawReply& reply) {
  constexpr std::string_view start = R"({"token":")";
  if (!reply.body.starts_with(start)) return {};
  return reply.body.substr(start.size(), reply.body.find('"', start.size()) - start.size());
}

TEST(Endpoints, ServeAPairedClientFromPairingToUnpairing) {
  SandboxRelay relay(plainOptions());
  RawClient client(relay.address());
  RawReply reply =
      client.exchange(requestText("POST /v1/pair", {}, pairBody("claude", relay.pairingCode())));
  ASSERT_EQ(reply.status, 200) << reply.body;
  const std::string token = tokenIn(reply);
  EXPECT_EQ(reply.body, R"({"token":")" + token + R"(","account":"robin@sandbox"})");

  relay.advance(std::chrono::seconds(10));
  reply = client.exchange(requestText("GET /v1/sessions?provider=claude", token));
  ASSERT_EQ(reply.status, 200);
  EXPECT_EQ(decoded<wire::Sessions>(reply).sessions, relay.state().sessions(AgentProvider::claude));
  reply = client.exchange(requestText("GET /v1/sessions", token));
  EXPECT_EQ(decoded<wire::Sessions>(reply).sessions, relay.state().sessions(std::nullopt));

  const std::string allow = R"({"decision":"always"})";
  EXPECT_EQ(client.exchange(requestText("POST /v1/permissions/tidy%2Dup-1", token, allow)).body,
            R"({"ok":true})");
  EXPECT_EQ(client.exchange(requestText("POST /v1/permissions/tidy-up-1", token, allow)).status,
            404);

  EXPECT_EQ(client.exchange(requestText("GET /v1/settings", token)).body,
            R"({"remoteApprovals":false})");
  EXPECT_EQ(
      client.exchange(requestText("POST /v1/settings", token, R"({"remoteApprovals":true})")).body,
      R"({"remoteApprovals":true})");
  EXPECT_TRUE(relay.state().remoteApprovals());

  const PushTokenRegistration registration("phone", PushTokenRegistration::Kind::activity,
                                           {0xAB, 0x01}, "production", std::nullopt);
  const std::string body = JSONEncoder::relay().encode(registration).storage;
  EXPECT_EQ(client.exchange(requestText("POST /v1/push/tokens", token, body)).status, 200);
  EXPECT_EQ(relay.pushTokens(), std::vector{registration});

  EXPECT_EQ(client.exchange(requestText("POST /v1/unpair", token)).body, R"({"ok":true})");
  EXPECT_EQ(client.exchange(requestText("GET /v1/settings", token)).status, 401);
  EXPECT_EQ(relay.connectionsAccepted(), 1u) << "one connection carried everything";
  ASSERT_EQ(relay.requests().size(), 10u);
  EXPECT_EQ(relay.requests()[1].target, "/v1/sessions?provider=claude");
  EXPECT_EQ(relay.requests()[7].body, body);
}

TEST(Endpoints, RefuseWhatTheyDoNotTake) {
  SandboxRelay relay(plainOptions());
  const std::string token = relay.issueToken(AgentProvider::codex);
  struct Row {
    const char* why;
    std::string request;
    int status;
  };
  const std::vector<Row> rows{
      {"unknown path", requestText("GET /v2/sessions", token), 404},
      {"a path that goes on", requestText("GET /v1/settings/", token), 404},
      {"no prompt id", requestText("POST /v1/permissions/", token, "{}"), 404},
      {"wrong method", requestText("GET /v1/pair", token), 405},
      {"wrong method, two allowed", requestText("DELETE /v1/settings", token), 405},
      {"no token", requestText("GET /v1/sessions"), 401},
      {"unknown token", requestText("GET /v1/sessions", "x" + token), 401},
      {"token of another scheme",
       requestText("GET /v1/sessions", {}, {}, "Authorization: Basic " + token + "\r\n"), 401},
      {"unpair without a token", requestText("POST /v1/unpair"), 401},
      {"no length", requestText("POST /v1/settings", token), 411},
      {"no JSON", requestText("POST /v1/settings", token, "{"), 400},
      {"another record", requestText("POST /v1/settings", token, R"({"remote":true})"), 400},
      {"unknown agent to pair", requestText("POST /v1/pair", {}, pairBody("Claude", "A")), 400},
      {"wrong code", requestText("POST /v1/pair", {}, pairBody("claude", "A")), 401},
      {"unknown agent to list", requestText("GET /v1/sessions?provider=Claude", token), 400},
      {"unknown decision", requestText("POST /v1/permissions/a", token, R"({"decision":"Allow"})"),
       400},
      {"a broken escape", requestText("POST /v1/permissions/%zz", token, R"({"decision":"allow"})"),
       400},
      {"a prompt id that is not UTF-8",
       requestText("POST /v1/permissions/%FF", token, R"({"decision":"allow"})"), 400},
      {"unknown kind of push token",
       requestText("POST /v1/push/tokens", token,
                   R"({"deviceID":"d","kind":"alert","token":"","environment":""})"),
       400},
      {"unknown fault", requestText("GET /v1/settings", token, {}, "X-Sandbox-Fault: fire\r\n"),
       400},
      {"unknown control request", requestText("GET /sandbox/nothing"), 404},
      {"control request of another method", requestText("GET /sandbox/code"), 405},
      {"time that runs back", requestText("POST /sandbox/clock", {}, R"({"advance":-1})"), 400},
  };
  RawClient client(relay.address());
  for (const Row& row : rows) {
    const RawReply reply = client.exchange(row.request);
    EXPECT_EQ(reply.status, row.status) << row.why;
    EXPECT_TRUE(reply.body.starts_with(R"({"error":")")) << row.why;
    EXPECT_EQ(reply.head.find("Allow: ") != std::string::npos, row.status == 405) << row.why;
    EXPECT_EQ(reply.head.find("WWW-Authenticate: Bearer") != std::string::npos,
              row.status == 401 && !row.request.starts_with("POST /v1/pair"))
        << row.why;
  }
  EXPECT_EQ(relay.connectionsAccepted(), 1u) << "a refusal does not cost the connection";
}

TEST(Endpoints, TellTooManyWrongCodes) {
  SandboxRelay relay(plainOptions());
  RawClient client(relay.address());
  const std::string wrong = requestText("POST /v1/pair", {}, pairBody("codex", "WRONG"));
  for (int i = 0; i < 5; ++i)
    EXPECT_EQ(client.exchange(wrong).status, 401);
  const RawReply locked = client.exchange(wrong);
  EXPECT_EQ(locked.status, 429);
  EXPECT_NE(locked.head.find("Retry-After: 60"), std::string::npos);
  relay.advance(std::chrono::seconds(60));
  EXPECT_EQ(client.exchange(wrong).status, 401);
}

TEST(Endpoints, LieBelowThePathPrefixAndNowhereElse) {
  for (const char* prefix : {"team/relay", "/team/relay/"}) {
    Options options = plainOptions();
    options.pathPrefix = prefix;
    SandboxRelay relay(options);
    EXPECT_TRUE(relay.address().text().ends_with("/team/relay")) << relay.address().text();
    RawClient client(relay.address());
    const std::string token = relay.issueToken(AgentProvider::codex);
    EXPECT_EQ(client.exchange(requestText("GET /team/relay/v1/settings", token)).status, 200);
    EXPECT_EQ(client.exchange(requestText("GET /v1/settings", token)).status, 404);
    EXPECT_EQ(client.exchange(requestText("GET /team/relays/v1/settings", token)).status, 404);
    EXPECT_EQ(client.exchange(requestText("GET /sandbox/clock")).status, 200);
    EXPECT_EQ(client.exchange(requestText("GET /team/relay/sandbox/clock")).status, 200);
  }
}

TEST(Endpoints, PairingLinksCarryAddressCodeAndPin) {
  for (const bool tls : {true, false}) {
    Options options = plainOptions();
    options.tls = tls;
    options.pathPrefix = "a b";
    if (tls) {
      // A prefix that is no path of a URL is found out when the address is asked for.
      EXPECT_THROW(SandboxRelay(options).address(), std::runtime_error);
    }
    options.pathPrefix = "relay";
    SandboxRelay relay(options);
    const auto link = URL::parse(relay.pairingLink("A&B C"));
    ASSERT_TRUE(link);
    const auto items = link->queryItems();
    ASSERT_TRUE(items);
    std::vector<platform::URLQueryItem> expected{{"url", relay.address().text()},
                                                 {"code", "A&B C"}};
    if (tls) expected.emplace_back("pin", relay.fingerprint());
    EXPECT_EQ(*items, expected);
    EXPECT_EQ(relay.fingerprint().size(), tls ? 64u : 0u);
  }
}

TEST(ControlRequests, SteerTheRelayAndHideTokens) {
  Options options = plainOptions();
  bool stopAsked = false;
  options.onStopRequest = [&] { stopAsked = true; };
  SandboxRelay relay(options);
  RawClient client(relay.address());
  const std::string token = relay.issueToken(AgentProvider::claude);
  const Date before = relay.now();
  const std::string settings = requestText("GET /v1/settings", token);

  EXPECT_EQ(client.exchange(requestText("POST /sandbox/clock", {}, R"({"advance":1.5})")).status,
            200);
  EXPECT_NEAR((relay.now() - before).count(), 1.5, 1e-6);

  const std::string fault = R"({"endpoint":"GET v1/settings","fault":"status=503","count":1})";
  EXPECT_EQ(client.exchange(requestText("POST /sandbox/faults", {}, fault)).status, 200);
  EXPECT_EQ(client.exchange(settings).status, 503);
  EXPECT_EQ(client.exchange(settings).status, 200);

  const std::string sessions = R"({"sessions":[]})";
  EXPECT_EQ(client.exchange(requestText("POST /sandbox/sessions", {}, sessions)).status, 200);
  EXPECT_EQ(client.exchange(requestText("GET /v1/sessions", token)).body, sessions);
  EXPECT_EQ(client.exchange(requestText("DELETE /sandbox/sessions")).status, 200);
  EXPECT_EQ(relay.state().sessions(std::nullopt).size(), 5u);

  const RawReply code = client.exchange(requestText("POST /sandbox/code"));
  EXPECT_NE(code.body.find(R"("pairingLink":"idlewyn://pair?url=http%3A)"), std::string::npos);
  EXPECT_EQ(client.exchange(requestText("POST /sandbox/certificate")).status, 400) << "plain http";

  const RawReply shown = client.exchange(requestText("GET /sandbox/requests"));
  EXPECT_NE(shown.body.find(R"("target":"/v1/settings")"), std::string::npos);
  EXPECT_EQ(shown.body.find(token), std::string::npos);
  EXPECT_EQ(client.exchange(requestText("DELETE /sandbox/requests")).status, 200);
  EXPECT_TRUE(relay.requests().empty());

  EXPECT_EQ(client.exchange(requestText("POST /sandbox/stop")).status, 200);
  EXPECT_EQ(client.exchange(settings).status, 200);
  EXPECT_TRUE(stopAsked);
}

}  // namespace
}  // namespace idlewyn::sandbox

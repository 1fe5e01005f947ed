// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include <tests/support/RawServer.hpp>
#include <tests/support/RelayFixture.hpp>
#include <tests/support/Sessions.hpp>

namespace idlewyn {
namespace {

using namespace testing;

PushTokenRegistration registration() {
  return PushTokenRegistration("device", PushTokenRegistration::Kind::activity, Data{0xAB, 0x01},
                               "sandbox", std::nullopt);
}

// Gives the outcome of an operation on a connection.
using Operation = std::function<std::string(const Connection&)>;

std::vector<Operation> operations() {
  const LiveSessionService service = liveService();
  const auto outcome = [](auto call) -> Operation {
    return [=](const Connection& c) { return outcomeOf(call(c)); };
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
    const std::string json = "application/json";
    const std::vector<std::tuple<std::string, std::string, std::string>> expected{
        {"GET " + base + "/v1/sessions?provider=claude", "(none)", ""},
        {"POST " + base + "/v1/permissions/p", json, R"({"decision":"deny"})"},
        {"GET " + base + "/v1/settings", json, ""},
        {"POST " + base + "/v1/settings", json, R"({"remoteApprovals":true})"},
        {"POST " + base + "/v1/push/tokens", json,
         R"({"deviceID":"device","kind":"activity","token":"ab01","environment":"sandbox"})"},
        {"POST " + base + "/v1/unpair", json, ""},
    };
    std::remove_const_t<decltype(expected)> found;
    for (const auto& request : relay.requests()) {
      found.emplace_back(request.method + " " + request.target, headerOf(request, "Content-Type"),
                         request.body);
      EXPECT_EQ(headerOf(request, "Authorization"), "Bearer " + connection.accessToken);
      for (const char* unwanted : {"Accept", "User-Agent", "Expect"})
        EXPECT_EQ(headerOf(request, unwanted), "(none)") << request.target;
    }
    EXPECT_EQ(found, expected);
  }
}

// Sentences are shown and logged; what opens a relay may stand in none.
TEST(RelayClient, ErrorsTellNoSecrets) {
  sandbox::SandboxRelay relay(plainHTTP());
  Connection connection = connectionTo(relay);
  connection.accessToken = "s3cret";
  connection.serverURL = URL::parse("http://s3cret:s3cret@" + relay.address().text().substr(7));
  const auto tells = [](const std::string& text) { return text.find("s3cret") != text.npos; };
  for (const Operation& operation : operations())
    EXPECT_FALSE(tells(operation(connection)));
  for (const char* code : {"s3cret", "s3cret\xFF"}) {
    EXPECT_FALSE(tells(outcomeOf(
        liveService().pair(AgentProvider::claude, *connection.serverURL, code, std::nullopt))));
  }
  relay.stop();
  try {
    wait(liveService().sessions(connection));
    ADD_FAILURE() << "a stopped relay answered";
  } catch (const URLError& error) {
    EXPECT_FALSE(tells(error.what()) || tells(error.failingURL->text()));
  }
}

TEST(RelayClient, AddressesKeepTheirSlashAndQueryAndPromptIdsReachTheRelayAsTheyStand) {
  sandbox::SandboxRelay relay(plainHTTP());
  Connection connection = connectionTo(relay);
  connection.serverURL = URL::parse(relay.address().text() + "/?a=1#f");
  EXPECT_EQ(outcomeOf(liveService().sessions(connection)), "ok");
  EXPECT_EQ(relay.requests().back().target, "/v1/sessions?a=1&provider=claude");
  connection.serverURL = relay.address();
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
    EXPECT_EQ(outcomeOf(liveService().decide(PermissionDecision::allow, promptID, connection)),
              RelayError::promptExpired().errorDescription());
    EXPECT_EQ(relay.requests().back().target, "/v1/permissions/" + path) << promptID;
  }
}

// What a status means is tested with the errors, and against every operation by a hostile relay.
TEST(RelayClient, RefusesBodiesThatLackWhatWasAskedFor) {
  sandbox::SandboxRelay relay(plainHTTP());
  const Connection connection = connectionTo(relay);
  for (const char* body : {"", "{}"}) {
    relay.respondWith("*", 200, body);
    for (const Operation& operation : operations())
      EXPECT_EQ(operation(connection), RelayError::invalidResponse().errorDescription()) << body;
  }
}

TEST(RelayClient, RefusesTokensThatCannotBeSent) {
  sandbox::SandboxRelay relay(plainHTTP());
  const auto pairWith = [&](const std::string& token) {
    relay.respondWith("*", 200, R"({"token":")" + token + R"(","account":"a"})");
    return outcomeOf(liveService().pair(AgentProvider::claude, relay.address(), "code", {}));
  };
  EXPECT_EQ(pairWith("t0ken~+/="), "ok");
  for (const char* token : {"", R"(two\nlines)", R"(two\rlines)", R"(ends\r\n)", R"(nul\u0000)"})
    EXPECT_EQ(pairWith(token), RelayError::invalidResponse().errorDescription()) << token;
}

TEST(RelayClient, ReadsWhatTheRelaySays) {
  sandbox::SandboxRelay relay(plainHTTP());
  const LiveSessionService service = liveService();
  const Connection claude = connectionTo(relay);
  const Connection codex = connectionTo(relay, AgentProvider::codex);
  const SessionSnapshot both(
      {makeSession("1"), makeSession("2", SessionStatus::failed, 0, AgentProvider::codex),
       makeSession("3")},
      Date{});
  relay.respondWith("v1/sessions", 200, JSONEncoder::relay().encode(both).storage);
  EXPECT_EQ(wait(service.sessions(codex)), std::vector{both.sessions[1]});
  EXPECT_EQ(wait(service.sessions(claude)).back().id, "3");

  EXPECT_FALSE(wait(service.remoteApprovals(claude)));
  EXPECT_TRUE(wait(service.setRemoteApprovals(true, claude)));
  EXPECT_TRUE(wait(service.remoteApprovals(claude)));
  relay.respondWith("POST v1/settings", 200, R"({"remoteApprovals":false})");
  EXPECT_FALSE(wait(service.setRemoteApprovals(true, claude))) << "the relay has the last word";

  relay.respondWith("v1/unpair", 200, R"({"ok":false})");
  wait(service.unpair(claude));
}

TEST(RelayClient, WhatCanNotBeEncodedIsThrownBeforeAnythingIsSent) {
  sandbox::SandboxRelay relay(plainHTTP());
  EXPECT_EQ(outcomeOf(liveService().pair(AgentProvider::claude, relay.address(), "\xFF", {})),
            "encoding");
  Connection connection = connectionTo(relay);
  connection.accessToken = "two\r\nlines";
  EXPECT_EQ(outcomeOf(liveService().unpair(connection)), "-1000");
  EXPECT_TRUE(relay.requests().empty());
}

TEST(RelayClient, WithoutAnAddressNothingIsSent) {
  const RelayClient relay(URLSession::shared());
  const LiveSessionService service(relay);
  const Connection demo = Connection::demo(AgentProvider::codex);
  EXPECT_TRUE(wait(relay.sessions(demo)).empty());
  EXPECT_FALSE(wait(relay.remoteApprovals(demo)));
  EXPECT_FALSE(wait(relay.setRemoteApprovals(true, demo)));
  EXPECT_TRUE(wait(service.setRemoteApprovals(true, demo)));
  EXPECT_FALSE(wait(service.remoteApprovals(demo)));
  for (const Operation& operation : operations())
    EXPECT_EQ(operation(demo), "ok");
}

using Pin = std::optional<std::string>;

const std::string mismatch = RelayError::certificateMismatch().errorDescription();

boost::asio::awaitable<Connection> pair(const sandbox::SandboxRelay& relay, std::string code,
                                        Pin pin) {
  return liveService().pair(AgentProvider::claude, relay.address(), std::move(code), pin);
}

TEST(Pairing, ByLinkPinsTheCertificateThatTheLinkNames) {
  for (const auto key : {sandbox::KeyType::ecdsa, sandbox::KeyType::rsa}) {
    sandbox::Options options;
    options.certificate.key = key;
    options.certificate.alternativeNames = {"DNS:elsewhere.example"};
    options.certificate.validTo = std::chrono::seconds(-60);
    sandbox::SandboxRelay relay(options);
    const auto link = PairingLink::parse(*URL::parse(relay.pairingLink()));
    ASSERT_TRUE(link.has_value());
    const Connection connection = wait(liveService().pair(AgentProvider::codex, link->serverURL,
                                                          link->code, link->certificatePin));
    EXPECT_EQ(connection.provider, AgentProvider::codex);
    EXPECT_EQ(connection.serverURL, link->serverURL);
    EXPECT_EQ(connection.accountName, "robin@sandbox");
    EXPECT_EQ(connection.certificatePin, relay.fingerprint());
    EXPECT_TRUE(relay.state().isValid(connection.accessToken));
    EXPECT_NEAR((DateClock::now() - connection.connectedAt).count(), 0, 60);
    EXPECT_EQ(testing::headerOf(relay.requests().front(), "Authorization"), "(none)");
    EXPECT_EQ(relay.requests().front().body,
              R"({"provider":"codex","code":")" + link->code + R"("})");
    EXPECT_EQ(outcomeOf(liveService().sessions(connection)), "ok");
  }
}

TEST(Pairing, OnFirstUseTakesAnyCertificateAndPinsIt) {
  sandbox::SandboxRelay relay;
  const auto closesEverything = [&] {
    return testing::waitUntil([&] { return relay.connectionsOpen() == 0; });
  };
  const Connection connection = wait(pair(relay, relay.pairingCode(), {}));
  EXPECT_EQ(connection.certificatePin, relay.fingerprint());
  EXPECT_TRUE(closesEverything()) << "the one-off session outlived a success";
  EXPECT_EQ(outcomeOf(pair(relay, "wrong", {})), RelayError::unauthorized().errorDescription());
  EXPECT_TRUE(closesEverything()) << "the one-off session outlived a failure";
}

TEST(Pairing, RefusesACertificateThatIsNotPinned) {
  sandbox::SandboxRelay relay;
  for (const std::string& pin : {std::string(), relay.fingerprint().substr(1), std::string(64, 'a'),
                                 "SHA256:" + relay.fingerprint()}) {
    EXPECT_EQ(outcomeOf(pair(relay, relay.pairingCode(), pin)), mismatch) << pin;
  }
  EXPECT_TRUE(relay.requests().empty()) << "the code went to a relay that was not trusted";
}

TEST(Pairing, OverPlainHTTPStoresAGivenPinNormalised) {
  sandbox::SandboxRelay relay(plainHTTP());
  EXPECT_EQ(wait(pair(relay, relay.pairingCode(), {})).certificatePin, std::nullopt);
  EXPECT_EQ(wait(pair(relay, relay.pairingCode(), "AB:CD")).certificatePin, "abcd");
}

TEST(Pinning, APinIsEnforcedOverASessionOfItsOwnWhateverTheUnpinnedOneTrusts) {
  sandbox::SandboxRelay relay;
  Connection connection = testing::connectionTo(relay);
  const auto fetch = [&] { return outcomeOf(liveService().sessions(connection)); };
  for (int i = 0; i < 10; ++i)
    EXPECT_EQ(fetch(), "ok");
  EXPECT_EQ(relay.connectionsAccepted(), 1u);
  // No pin: the system's authorities decide, and know nothing of this relay.
  connection.certificatePin = std::nullopt;
  EXPECT_EQ(fetch(), "-1202");
  // Another pin: the trusted connection of the first one is not used.
  connection.certificatePin = std::string(64, '0');
  EXPECT_EQ(fetch(), mismatch);
  // Another certificate: kept connections end with the one that they began with.
  connection.certificatePin = relay.fingerprint();
  EXPECT_EQ(fetch(), "ok");
  relay.replaceCertificate();
  EXPECT_EQ(fetch(), mismatch);
}

}  // namespace
}  // namespace idlewyn

// SPDX-License-Identifier: MIT
// Relays as they are often reached: under a path of a web server that speaks TLS for them.
#include <functional>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/process/Nginx.hpp>
#include <tests/support/RelayFixture.hpp>
#include <tests/support/Sessions.hpp>

namespace idlewyn {
namespace {

using testing::liveService;
using testing::makeSession;
using testing::Nginx;
using testing::NginxSite;
using testing::outcomeOf;
using testing::ServedRequest;
using testing::withPrompt;
using Pin = std::optional<std::string>;

constexpr std::size_t http1 = 0, http2 = 1;

// Without a path behind the port, "proxy_pass" hands the path on as it was received. With one,
// even "/", nginx would resolve dots and percent signs first, and a prompt named "../unpair"
// would end the pairing.
std::vector<NginxSite> sitesFor(const sandbox::SandboxRelay& relay) {
  const std::string passing = "location /relay/ { proxy_pass http://127.0.0.1:" +
                              std::string(relay.address().port().value()) +
                              "; proxy_http_version 1.1; gzip on; gzip_min_length 1;"
                              " gzip_types application/json; }";
  return {NginxSite(NginxSite::Protocol::http1OverTLS, passing),
          NginxSite(NginxSite::Protocol::http2, passing)};
}

class ReverseProxy : public ::testing::Test {
 protected:
  URL base(std::size_t site) const { return *URL::parse(nginx.address(site) + "/relay/"); }

  Connection connection(std::size_t site, AgentProvider provider = AgentProvider::claude) {
    return Connection(provider, base(site), relay.issueToken(provider), "account", Date{},
                      nginx.fingerprint(site));
  }

  sandbox::SandboxRelay relay{testing::plainHTTP("relay")};
  Nginx nginx{sitesFor(relay)};
};

std::set<std::string> connectionsOf(const std::vector<ServedRequest>& requests) {
  std::set<std::string> connections;
  for (const ServedRequest& request : requests)
    connections.insert(request.connection);
  return connections;
}

TEST_F(ReverseProxy, PairsByLinkAndOnFirstUse) {
  for (const std::size_t site : {http1, http2}) {
    const auto link = PairingLink::parse(*URL::parse("idlewyn://pair?url=" + base(site).text() +
                                                     "&code=" + relay.pairingCode() +
                                                     "&pin=" + nginx.fingerprint(site)));
    ASSERT_TRUE(link.has_value());
    const Connection byLink = wait(liveService().pair(AgentProvider::codex, link->serverURL,
                                                      link->code, link->certificatePin));
    const Connection onFirstUse = wait(
        liveService().pair(AgentProvider::claude, base(site), relay.pairingCode(), std::nullopt));
    for (const Connection& paired : {byLink, onFirstUse}) {
      EXPECT_EQ(paired.serverURL, base(site));
      EXPECT_EQ(paired.certificatePin, nginx.fingerprint(site));
      EXPECT_EQ(outcomeOf([&] { return liveService().sessions(paired); }), "ok");
    }
  }
  for (const ServedRequest& request : nginx.served(8)) {
    EXPECT_EQ(request.protocol, request.site == http2 ? "HTTP/2.0" : "HTTP/1.1");
  }
}

TEST_F(ReverseProxy, ServesEveryEndpoint) {
  const LiveSessionService service = liveService();
  for (const std::size_t site : {http1, http2}) {
    relay.setSessions({withPrompt(makeSession("s", SessionStatus::waitingForInput), "p")});
    relay.clearRequests();
    const Connection connection = this->connection(site);
    EXPECT_EQ(wait(service.sessions(connection)).size(), 1u);
    wait(service.decide(PermissionDecision::allow, "p", connection));
    EXPECT_TRUE(wait(service.setRemoteApprovals(true, connection)));
    EXPECT_TRUE(wait(service.remoteApprovals(connection)));
    const PushTokenRegistration registration("device", PushTokenRegistration::Kind::pushToStart,
                                             Data{0xAB, 0x01}, "sandbox", std::nullopt);
    wait(service.registerPushToken(registration, connection));
    EXPECT_EQ(relay.pushTokens(), std::vector{registration});
    wait(service.unpair(connection));
    EXPECT_FALSE(relay.state().isValid(connection.accessToken));

    std::vector<std::string> seen;
    for (const auto& request : relay.requests())
      seen.push_back(request.method + " " + request.target);
    EXPECT_EQ(seen, (std::vector<std::string>{
                        "GET /relay/v1/sessions?provider=claude", "POST /relay/v1/permissions/p",
                        "POST /relay/v1/settings", "GET /relay/v1/settings",
                        "POST /relay/v1/push/tokens", "POST /relay/v1/unpair"}));
  }
}

TEST_F(ReverseProxy, PromptIdsReachTheRelayAsTheyStandOrAreRefusedByTheProxy) {
  struct Row {
    const char *promptID, *path;
    int status;
    const char* reason;
  };
  const std::vector<Row> rows{
      {"a b", "a%20b", 404, "a space is encoded"},
      {"?x", "%3Fx", 404, "no query begins"},
      {"#x", "%23x", 404, "no fragment begins"},
      {"%2e", "%252e", 404, "a percent sign is not taken for an encoding"},
      {"\u00FC", "%C3%BC", 404, "a letter beyond ASCII"},
      {"a//b", "a//b", 404, "slashes are not merged"},
      {"../unpair", "../unpair", 404, "dots are not resolved: the token stays valid"},
      {"../../../elsewhere", nullptr, 404, "outside of the prefix the proxy knows nothing"},
      {"../../../../elsewhere", nullptr, 400, "above the root there is nothing to know"},
  };
  for (const std::size_t site : {http1, http2}) {
    const Connection connection = this->connection(site);
    for (const Row& row : rows) {
      relay.clearRequests();
      const RelayError expected =
          row.status == 404 ? RelayError::promptExpired() : RelayError::server(row.status);
      EXPECT_EQ(outcomeOf([&] {
                  return liveService().decide(PermissionDecision::allow, row.promptID, connection);
                }),
                expected.errorDescription())
          << row.reason;
      const auto requests = relay.requests();
      ASSERT_EQ(requests.size(), row.path ? 1u : 0u) << row.reason;
      if (row.path) {
        EXPECT_EQ(requests[0].target, "/relay/v1/permissions/" + std::string(row.path))
            << row.reason;
      }
    }
    EXPECT_TRUE(relay.state().isValid(connection.accessToken));
  }
}

TEST_F(ReverseProxy, ErrorsTellWhoIsMissing) {
  for (const std::size_t site : {http1, http2}) {
    Connection beside = connection(site);
    beside.serverURL = URL::parse(nginx.address(site) + "/other");
    EXPECT_EQ(outcomeOf([&] { return liveService().sessions(beside); }),
              RelayError::server(404).errorDescription());
    EXPECT_EQ(
        outcomeOf([&] { return liveService().decide(PermissionDecision::deny, "p", beside); }),
        RelayError::promptExpired().errorDescription());
  }
  EXPECT_TRUE(relay.requests().empty());
  const Connection connections[]{connection(http1), connection(http2)};
  relay.stop();
  for (const Connection& connection : connections) {
    EXPECT_EQ(outcomeOf([&] { return liveService().sessions(connection); }),
              RelayError::server(502).errorDescription());
    EXPECT_EQ(outcomeOf([&] { return liveService().unpair(connection); }),
              RelayError::server(502).errorDescription());
  }
}

TEST_F(ReverseProxy, ARelayThatBreaksOffIsAnErrorOnlyOfItsOwnRequest) {
  for (const std::size_t site : {http1, http2}) {
    const Connection connection = this->connection(site);
    relay.setFault("POST v1/settings", sandbox::Fault::close(), 1);
    relay.clearRequests();
    EXPECT_EQ(outcomeOf([&] { return liveService().setRemoteApprovals(true, connection); }),
              RelayError::server(502).errorDescription());
    EXPECT_EQ(relay.requests().size(), 1u) << "sent again";
    relay.setFault("v1/sessions", sandbox::Fault::closeMidBody(), 1);
    EXPECT_EQ(outcomeOf([&] { return liveService().sessions(connection); }), "-1005");
    EXPECT_EQ(outcomeOf([&] { return liveService().sessions(connection); }), "ok");
  }
}

TEST_F(ReverseProxy, FortyFetchesAtOnceShareAConnectionOverHTTP2) {
  relay.setSessions({makeSession("a")});
  for (const std::size_t site : {http1, http2}) {
    const std::vector<Connection> connections(40, connection(site));
    const std::size_t before = nginx.served(0).size();
    const SnapshotResult result =
        wait(liveService().snapshot(connections, SessionSnapshot::empty()));
    EXPECT_EQ(result.snapshot.sessions.size(), 40u);
    EXPECT_TRUE(result.errors.empty());
    auto served = nginx.served(before + 40);
    served.erase(served.begin(), served.begin() + static_cast<std::ptrdiff_t>(before));
    ASSERT_EQ(served.size(), 40u);
    const std::size_t used = connectionsOf(served).size();
    if (site == http2) {
      EXPECT_EQ(used, 1u);
    } else {
      EXPECT_GT(used, 1u) << "without streams each needs a connection of its own";
    }
  }
}

TEST_F(ReverseProxy, AnotherCertificateIsRefusedBeforeAnythingIsSent) {
  for (const std::size_t site : {http1, http2}) {
    Connection connection = this->connection(site);
    connection.certificatePin = nginx.fingerprint(1 - site);
    const std::string mismatch = RelayError::certificateMismatch().errorDescription();
    EXPECT_EQ(outcomeOf([&] { return liveService().sessions(connection); }), mismatch);
    EXPECT_EQ(outcomeOf([&] {
                return liveService().pair(AgentProvider::claude, base(site), relay.pairingCode(),
                                          connection.certificatePin);
              }),
              mismatch);
  }
  // What comes last is the only request that the proxy ever saw.
  EXPECT_EQ(outcomeOf([&] { return liveService().sessions(connection(http1)); }), "ok");
  EXPECT_EQ(nginx.served(1).size(), 1u);
  EXPECT_EQ(relay.requests().size(), 1u);
}

TEST_F(ReverseProxy, ARedirectIsAnAnswerAndIsNotFollowed) {
  for (const char* status : {"301", "307"}) {
    const Nginx front(
        {NginxSite(NginxSite::Protocol::plain, "return " + std::string(status) + " " +
                                                   nginx.address(http1) + "$request_uri;")});
    const Connection connection(AgentProvider::claude, URL::parse(front.address() + "/relay/"),
                                relay.issueToken(AgentProvider::claude), "account", Date{},
                                std::nullopt);
    const std::string expected = RelayError::server(std::stoi(status)).errorDescription();
    EXPECT_EQ(outcomeOf([&] { return liveService().sessions(connection); }), expected);
    EXPECT_EQ(outcomeOf([&] { return liveService().unpair(connection); }), expected);
    EXPECT_EQ(outcomeOf([&] {
                return liveService().pair(AgentProvider::claude, *connection.serverURL,
                                          relay.pairingCode(), std::nullopt);
              }),
              expected);
    EXPECT_EQ(front.served(3).size(), 3u);
  }
  EXPECT_TRUE(nginx.served(0).empty()) << "a token or code went to another origin";
  EXPECT_TRUE(relay.requests().empty());
}

TEST_F(ReverseProxy, CompressedAnswersAreDecoded) {
  std::vector<AgentSession> sessions;
  for (int i = 0; i < 100; ++i)
    sessions.push_back(makeSession("session-" + std::to_string(i)));
  relay.setSessions(sessions);
  for (const std::size_t site : {http1, http2}) {
    EXPECT_EQ(wait(liveService().sessions(connection(site))), sessions);
    EXPECT_EQ(nginx.served(site + 1).back().encoding, "gzip");
  }
}

}  // namespace
}  // namespace idlewyn
